#pragma once
// Text on the X11 CLIPBOARD selection, on an X connection of its own with a
// hidden 1x1 window. The program's text is Latin-1: it goes out as
// UTF8_STRING (converted) and STRING (as it is); what comes in is UTF-8, for
// the caller to bring back to Latin-1.
//
// Owning the clipboard means answering other clients' requests for as long
// as we own it: pumpClipboard() does that and must run from the tick.
// Offered targets: TARGETS, UTF8_STRING, STRING (Latin-1, '?' for what it
// lacks) and TEXT (as UTF8_STRING).
#include <string>

namespace platform {

enum class ClipboardStatus {
    Ok,
    NoDisplay, // no X server reachable
    Empty,     // nobody owns the clipboard, or it holds no text
    TimedOut,  // the owner did not answer in time
    TooLarge,  // the owner wanted the incremental (INCR) protocol: refused
};

// Takes the CLIPBOARD selection with this Latin-1 text. False when it could not.
bool setClipboardText(const std::string& latin1);
// UTF-8 text of the clipboard: asks for UTF8_STRING, then STRING (converted). Waits at most timeoutMs, answering
// requests to our own connection meanwhile; our own text comes back at once.
ClipboardStatus clipboardText(std::string& utf8, int timeoutMs = 500);
// Answers pending selection requests. Cheap when nothing is pending.
void pumpClipboard();
// The keyboard bell (a refused caret move).
void beep();

} // namespace platform
