// SPDX-License-Identifier: AGPL-3.0-only
#include "ComboBoxImproved.h"

namespace varnel
{

namespace
{

bool hasChoices (const juce::PopupMenu& menu)
{
    for (juce::PopupMenu::MenuItemIterator iterator (menu); iterator.next();)
        if (! iterator.getItem().isSeparator)
            return true;

    return false;
}

/** The box's text, which juce::ComboBox keeps to itself. */
juce::Label* labelOf (juce::ComboBox& box)
{
    for (auto* child : box.getChildren())
        if (auto* const label = dynamic_cast<juce::Label*> (child))
            return label;

    return nullptr;
}

} // namespace

void ComboBoxImproved::showPopup()
{
    auto& menu = *getRootMenu();

    if (hasChoices (menu))
    {
        const auto selectedId = getSelectedId();

        for (juce::PopupMenu::MenuItemIterator iterator (menu, true); iterator.next();)
            if (auto& item = iterator.getItem(); item.itemID != 0)
                item.isTicked = item.itemID == onTheWay || item.itemID == selectedId;
    }
    else
    {
        menu.addItem (1, getTextWhenNoChoicesAvailable(), false, false);
    }

    if (auto* const text = labelOf (*this))
        menu.showMenuAsync (getLookAndFeel().getOptionsForComboBoxPopupMenu (*this, *text),
                            juce::ModalCallbackFunction::forComponent (popupMenuFinished, this));
}

void ComboBoxImproved::popupMenuFinished (int result, ComboBoxImproved* box)
{
    if (box == nullptr)
        return;

    box->hidePopup();

    if (result == 0)
        return;

    // juce::ComboBox would say nothing of a choice that is selected already.
    box->setSelectedId (result, juce::dontSendNotification);
    box->ComboBox::handleAsyncUpdate();
}

} // namespace varnel
