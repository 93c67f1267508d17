#pragma once

class QString;
class QWidget;

namespace iconfoundry {

// Fills a widget tree built from a layout file with its texts. Layout files hold the dotted keys
// of the texts ("Menu.File.Open") instead of the texts themselves, so a layout never needs its
// own translation; apply() replaces each key it finds by Texts::text(key): window titles, label
// and button texts, group box titles, menu titles, action texts, tool tips and placeholder
// texts. Strings that do not look like keys (no dot, or containing blanks) are left alone, so
// applying twice is harmless. Main thread only.
class TextKeys
{
public:
    static void apply(QWidget* root);
    // True for "Area.Situation" style keys: letters and digits in two or more dotted parts,
    // the first starting with a capital letter.
    static bool isKey(const QString& text);
};

} // namespace iconfoundry
