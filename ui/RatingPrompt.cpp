#include "ui/RatingPrompt.h"

#include <memory>

#include "core/LaunchCounter.h"
#include "ui/OpenLink.h"
#include "widgets/ButtonWidget.h"
#include "widgets/Dialog.h"
#include "widgets/TextWidget.h"
#include "core/Localisation.h"

bool askForRating() {
    auto dialog = std::make_shared<Dialog>(560, 260, tr(tk::RATE_TITLE_STR));
    Dialog* d = dialog.get(); // the buttons live inside the dialog
    dialog->add(std::make_shared<TextWidget>(10, 40, tr(tk::RATE_TEXT_STR)));
    auto no = std::make_shared<ButtonWidget>(0, 0, 130, 30, tr(tk::RATE_NO_STR), 0, [d](Widget*) { d->no(); });
    auto yes = std::make_shared<ButtonWidget>(-140, 0, 400, 30, tr(tk::RATE_YES_STR),
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
