#include "ui/MessageQueue.h"

void MessageQueue::post(std::string text) {
    std::lock_guard<std::mutex> lock(mutex_);
    texts_.push_back(std::move(text));
}

std::vector<std::string> MessageQueue::drain() {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> out(std::make_move_iterator(texts_.begin()), std::make_move_iterator(texts_.end()));
    texts_.clear();
    return out;
}

bool MessageQueue::empty() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return texts_.empty();
}
