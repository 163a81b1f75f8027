#pragma once
// Status texts from worker threads (saving, loading) on their way to the
// main thread: any thread posts, the main thread's tick drains and shows
// them in order through showMessage. The only locked path to notifications.
#include <deque>
#include <mutex>
#include <string>
#include <vector>

class MessageQueue {
public:
    // Any thread.
    void post(std::string text);
    // Takes every posted text, oldest first.
    std::vector<std::string> drain();
    bool empty() const;

private:
    mutable std::mutex mutex_;
    std::deque<std::string> texts_;
};
