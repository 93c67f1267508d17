#pragma once

#include <QString>

namespace iconfoundry {

// User-visible texts, looked up by dotted key with qtTrId(). A key without a translation comes
// back as the key itself.
//
// The translations are the .qm files in the bundle's "translations" folder (one per area, e.g.
// iconfoundry_catalogue_en.qm; for each area the user's language, else English). They are
// installed into the running QCoreApplication once, by the first text() or installTranslations()
// made on the application's thread; until then text() answers the untranslated key, so call
// installTranslations() at start-up. Thread-safe. If the application object is replaced (as in
// tests), the next call installs them into the new one.
class Texts
{
public:
    static QString text(const char* key);

    // Installs the translations now; returns how many files were installed by this call (0 when
    // already done, when there is no application object, or when there are no files).
    static int installTranslations();
};

} // namespace iconfoundry
