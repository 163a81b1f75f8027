#include "io/SavingThreads.h"

#include <cstdio>

#include "io/ImageCodec.h"

WorkerThread::~WorkerThread() {
    // Subclasses wait in their own destructors, before their fields go.
    if (thread_.joinable()) thread_.join();
}

void WorkerThread::wait() {
    if (thread_.joinable()) thread_.join();
}

bool WorkerThread::running() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return started_ && !finished_;
}

void WorkerThread::launch() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        started_ = true;
        finished_ = false;
    }
    thread_ = std::thread([this] {
        run();
        std::lock_guard<std::mutex> lock(mutex_);
        finished_ = true;
    });
}

SavingThread::~SavingThread() { wait(); }

void SavingThread::start(std::string path, std::vector<uint8_t> pixels, int32_t width, int32_t height) {
    wait();
    path_ = std::move(path);
    pixels_ = std::move(pixels);
    width_ = width;
    height_ = height;
    launch();
}

void SavingThread::run() {
    const bool ok = saveCanvasImage(path_, std::move(pixels_), width_, height_);
    pixels_ = {};
    std::lock_guard<std::mutex> lock(resultsMutex_);
    results_.push_back({path_, ok});
}

std::vector<SavingThread::Result> SavingThread::takeResults() {
    std::lock_guard<std::mutex> lock(resultsMutex_);
    std::vector<Result> out = std::move(results_);
    results_.clear();
    return out;
}

AutoSavingThread::~AutoSavingThread() { wait(); }

void AutoSavingThread::start(AutosaveJob job) {
    wait();
    job_ = std::move(job);
    launch();
}

void AutoSavingThread::run() {
    std::string error;
    if (!writeAutosave(job_, &error)) {
        failures_ += 1;
        std::fprintf(stderr, "autosave: %s\n", error.c_str());
    }
    // The copies go now: slot 1's old blocks die here if a newer snapshot replaced them.
    job_ = AutosaveJob{};
    completed_ += 1;
}
