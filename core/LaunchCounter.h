#pragma once
// The launch counter ("KWCOUNT"): counts the program's starts and, at every
// hundredth, asks once whether the user would rate the program. After "Yes"
// the counter stops for good. GL-free except for the question itself, which
// the caller supplies.
#include <functional>
#include <string>

struct LaunchCountStep {
    bool write = false;       // store `next` as "KWCOUNT"
    bool askForRating = false;
    int next = 0;
};

// The stored text (present or not) to the decision: a missing or unreadable
// count is 1; a count below 1 means stopped (nothing written); a multiple of
// 100 asks; the count written back is one more.
LaunchCountStep launchCountStep(bool present, const std::string& text);

// Runs the counter once for this process against the settings file. ask()
// shows the question and returns true for "Yes"; the count then becomes 0.
void runLaunchCounter(const std::function<bool()>& ask);

// Where "Yes" leads: the program's page for ratings.
inline constexpr const char* kRatingPage = "https://kestrelwing.example/rate";
