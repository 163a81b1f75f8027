#pragma once
// The question before a replay: "Start replay?" with the choice "Autopan &
// zoom" and the buttons "Cancel" and "OK". It stands in the middle of the
// window and holds the input until answered; Enter answers OK, ESC Cancel.
// OK starts the replay (ReplaySession) with the choice.
#include <memory>

class GroupWidget;
class CheckBoxWidget;

// False when it cannot open: no interface, a replay running, or already open.
bool openReplayPrompt();
bool replayPromptOpen();
// The open prompt's panel and check box, or null (tests, layout).
GroupWidget* replayPromptPanel();
CheckBoxWidget* replayPromptAutopan();
// Answers the open prompt as its buttons do.
void answerReplayPrompt(bool ok);
