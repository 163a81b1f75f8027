#pragma once
// Text on the X11 CLIPBOARD selection, on an X connection of its own with a
// hidden 1x1 window. The program's text is Latin-1: it goes out as
// UTF8_STRING (converted) and STRING (as it is); what comes in is UTF-8, for
// the caller to bring back to Latin-1.
//
// Owning the clipboard means answering other clients' requests for as long
// as we own it: pumpClipboard() does that and must run from the tick.
// Offered targets for text: TARGETS, UTF8_STRING, STRING (Latin-1, '?' for
// what it lacks) and TEXT (as UTF8_STRING). For other data (images) the
// caller names the targets and how to make each one's bytes; a block larger
// than one request goes out and comes in by the INCR protocol.
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

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
// One target offered on the clipboard: its name (a MIME type or an atom name)
// and the function that makes its bytes, called on the first request only.
struct ClipboardOffer {
    std::string target;
    std::function<std::vector<uint8_t>()> make;
};
// Takes the CLIPBOARD selection with these targets (TARGETS is added). Our
// data stays served until another client takes the selection.
bool setClipboardOffers(std::vector<ClipboardOffer> offers);
// The bytes of the first of `targets` (most wanted first) that the owner
// offers, and which one it was. Asks the owner for TARGETS first; an owner
// that does not answer that is asked for each target in turn. Waits at most
// timeoutMs for each answer, calling `idle` (if given) between looks so
// that the caller's window stays alive. Our own offers come back at once.
ClipboardStatus clipboardData(const std::vector<std::string>& targets, std::string& chosen,
                              std::vector<uint8_t>& bytes, int timeoutMs = 1000,
                              const std::function<void()>& idle = {});
// Answers pending selection requests. Cheap when nothing is pending.
void pumpClipboard();
// The keyboard bell (a refused caret move).
void beep();

} // namespace platform
