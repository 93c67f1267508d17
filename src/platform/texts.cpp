#include "platform/texts.h"

#include "platform/bundle.h"

#include <QCoreApplication>
#include <QDir>
#include <QLocale>
#include <QMutex>
#include <QMutexLocker>
#include <QRegularExpression>
#include <QThread>
#include <QTranslator>
#include <atomic>
#include <memory>
#include <vector>

namespace iconfoundry {

namespace {

struct State
{
    QMutex mutex;
    std::vector<std::unique_ptr<QTranslator>> translators;
    // The application object the translators are installed in; reset when it is destroyed.
    std::atomic<QCoreApplication*> ready{nullptr};
};

State& state()
{
    static State s;
    return s;
}

// Files are named <base>_<language>[_<territory>].qm. For each base, the user's languages are
// tried first, then English.
QStringList translationBases(const QDir& directory)
{
    static const QRegularExpression kLanguageSuffix(QStringLiteral("_[a-z]{2,3}(_[A-Z]{2})?$"));
    QStringList bases;
    for (const QString& file : directory.entryList({QStringLiteral("*.qm")}, QDir::Files, QDir::Name)) {
        QString base = file.chopped(3);
        base.remove(kLanguageSuffix);
        if (!bases.contains(base))
            bases.append(base);
    }
    return bases;
}

int install(State& s, QCoreApplication* app)
{
    // Translators of an earlier application object: that object is gone, and so is their use.
    s.translators.clear();

    const QDir directory(QDir(Bundle::resourceDirectory()).filePath(QStringLiteral("translations")));
    int installed = 0;
    for (const QString& base : translationBases(directory)) {
        auto translator = std::make_unique<QTranslator>();
        const bool loaded = translator->load(QLocale(), base, QStringLiteral("_"), directory.path()) ||
                            translator->load(base + QStringLiteral("_en"), directory.path()) ||
                            translator->load(base, directory.path());
        if (loaded && QCoreApplication::installTranslator(translator.get())) {
            s.translators.push_back(std::move(translator));
            ++installed;
        }
    }
    s.ready.store(app, std::memory_order_release);
    return installed;
}

int ensureInstalled()
{
    QCoreApplication* app = QCoreApplication::instance();
    State& s = state();
    if (!app || s.ready.load(std::memory_order_acquire) == app)
        return 0;
    // Installing a translator sends a language-change event through the application object,
    // which may only happen on its own thread; other threads read untranslated keys until then.
    if (QThread::currentThread() != app->thread())
        return 0;
    QMutexLocker lock(&s.mutex);
    if (s.ready.load(std::memory_order_relaxed) == app)
        return 0;
    QObject::connect(app, &QObject::destroyed,
                     [] { state().ready.store(nullptr, std::memory_order_release); });
    return install(s, app);
}

} // namespace

QString Texts::text(const char* key)
{
    ensureInstalled();
    return qtTrId(key);
}

int Texts::installTranslations()
{
    return ensureInstalled();
}

} // namespace iconfoundry
