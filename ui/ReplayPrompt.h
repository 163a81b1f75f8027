#pragma once
// The question before a replay: the dialog "Start replay?" with the choice
// "Autopan & zoom" and the buttons "Cancel" and "OK" (focused, so Enter
// answers OK and Esc Cancel). OK starts the replay (ReplaySession) with the
// choice. The prompt is modal: openReplayPrompt returns once it is answered.
class Dialog;
class CheckBoxWidget;

// Runs the prompt; true when it was answered OK and the replay started.
// False at once when it cannot open: no interface, a replay running, or the
// prompt already open (a repeated key).
bool openReplayPrompt();
bool replayPromptOpen();
// The open prompt and its check box, or null (tests).
Dialog* replayPromptDialog();
CheckBoxWidget* replayPromptAutopan();
// Answers the open prompt as its buttons do.
void answerReplayPrompt(bool ok);
