#include "ui/RatingPrompt.h"

#include <memory>

#include "core/LaunchCounter.h"
#include "ui/OpenLink.h"
#include "widgets/ButtonWidget.h"
#include "widgets/Dialog.h"
#include "widgets/TextWidget.h"

bool askForRating() {
    auto dialog = std::make_shared<Dialog>(560, 260, "Rate Kestrelwing");
    Dialog* d = dialog.get(); // the buttons live inside the dialog
    dialog->add(std::make_shared<TextWidget>(
        10, 40,
        "It looks like you are enjoying using Kestrelwing.\nThis is great!\n\nWould you please consider rating it "
        "on the Microsoft Store?\nIt will only take a few moments but it would be greatly appreciated!\n\nThank "
        "you! :)"));
    auto no = std::make_shared<ButtonWidget>(0, 0, 130, 30, "No, thank you", 0, [d](Widget*) { d->no(); });
    auto yes = std::make_shared<ButtonWidget>(-140, 0, 400, 30, "Yes, let me rate Kestrelwing on the Microsoft Store!",
                                              0, [d](Widget*) { d->yes(); });
    for (const auto& b : {no, yes}) {
        b->hAlign = HAlign::Right;
        b->vAlign = VAlign::Bottom;
        dialog->add(b);
    }
    no->setFocused(true);
    const bool rate = dialog->runModal() == kDialogYes;
    if (rate) openLink(kRatingPage);
    return rate;
}
