// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace varnel
{

/** A combo box that tells its listeners of every choice, at once and also of the item that is selected already, and whose
    popup ticks the way to the selected item: rows with the id onTheWay. Message thread.
*/
class ComboBoxImproved : public juce::ComboBox
{
public:
    /** The id of a row whose sub-menu holds the selected item. */
    static constexpr int onTheWay = -2;

    void showPopup() override;

private:
    static void popupMenuFinished (int result, ComboBoxImproved* box);

    JUCE_LEAK_DETECTOR (ComboBoxImproved)
};

} // namespace varnel
