#pragma once

class QMenu;
class QMenuBar;

namespace iconfoundry {

// Takes the platform's own trailing additions off the Edit menu: the character palette, then
// dictation, then the separator before them. Each check is made once, in that order, always on
// the menu's current last item, so an Edit menu ending in "dictation, separator" loses only the
// separator. Nothing else is ever removed; a menu bar without an Edit menu is left alone.
//
// Actions are recognised by their object names, "orderFrontCharacterPalette:" and
// "startDictation:"; the Edit menu by its title "Edit" (mnemonic markers ignored). Removed
// actions are deleted only when the menu owned them. Main thread only.
class EditMenuTrimmer
{
public:
    static constexpr char CharacterPaletteAction[] = "orderFrontCharacterPalette:";
    static constexpr char DictationAction[] = "startDictation:";

    // The menu of mainMenu titled "Edit", or nullptr.
    static QMenu* editMenu(const QMenuBar* mainMenu);
    // Trims the Edit menu of mainMenu; returns how many items went.
    static int trimEditMenu(QMenuBar* mainMenu);
    // Trims menu itself; returns how many items went.
    static int trimMenu(QMenu* menu);
};

} // namespace iconfoundry
