#include "core/LaunchCounter.h"

#include <cstdio>

#include "platform/Settings.h"

LaunchCountStep launchCountStep(bool present, const std::string& text) {
    int count = 1;
    if (present) {
        int parsed = 0;
        if (std::sscanf(text.c_str(), "%d", &parsed) == 1) count = parsed;
    }
    LaunchCountStep step;
    if (count < 1) return step;
    step.askForRating = count % 100 == 0;
    step.write = true;
    step.next = count + 1;
    return step;
}

void runLaunchCounter(const std::function<bool()>& ask) {
    std::string text;
    const bool present = platform::readValue("KWCOUNT", text);
    LaunchCountStep step = launchCountStep(present, text);
    if (!step.write) return;
    // "Yes" stops the counter: -1 + 1 is stored, and 0 never asks again.
    if (step.askForRating && ask && ask()) step.next = 0;
    platform::writeValue("KWCOUNT", std::to_string(step.next));
}
