#pragma once
// The two writers that run beside the main thread: the image save and the
// autosave. Each is one reusable object; every run is a new std::thread,
// and a new run first waits for the last one, so two saves never overlap.
// The workers touch only what they were handed (pixels in memory, the
// autosave's copies): never GL, widgets or the live history. Their results
// go back through a locked list that the main thread drains.
#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "io/AutosaveCopy.h"

class WorkerThread {
public:
    WorkerThread() = default;
    virtual ~WorkerThread();
    WorkerThread(const WorkerThread&) = delete;
    WorkerThread& operator=(const WorkerThread&) = delete;

    // Waits for the last run to end (joins it); nothing to do without one.
    void wait();
    // A run was started and has not ended yet.
    bool running() const;

protected:
    // Starts run() on a new thread. The caller has called wait() and filled
    // the fields run() reads.
    void launch();
    virtual void run() = 0;

private:
    std::thread thread_;
    mutable std::mutex mutex_;
    bool started_ = false, finished_ = false;
};

// Encodes a picture read back by the main thread into an image file.
class SavingThread : public WorkerThread {
public:
    struct Result {
        std::string path;
        bool ok = false;
    };
    ~SavingThread() override;

    // Waits for the last save, then writes the canvas-form pixels (RGBA,
    // premultiplied, row 0 at the bottom) into path on a new thread: un-
    // premultiplied, in the format of the extension, through a temporary file.
    void start(std::string path, std::vector<uint8_t> pixels, int32_t width, int32_t height);
    // Main thread: the results of the saves that ended since the last call.
    std::vector<Result> takeResults();

private:
    void run() override;

    std::string path_;
    std::vector<uint8_t> pixels_;
    int32_t width_ = 0, height_ = 0;
    std::mutex resultsMutex_;
    std::vector<Result> results_;
};

// Writes the drawing process from an AutosaveJob.
class AutoSavingThread : public WorkerThread {
public:
    ~AutoSavingThread() override;

    // Waits for the last autosave, then writes the job on a new thread.
    // A failed autosave is silent: it only counts in failures().
    void start(AutosaveJob job);
    int completed() const { return completed_.load(); }
    int failures() const { return failures_.load(); }

private:
    void run() override;

    AutosaveJob job_;
    std::atomic<int> completed_{0}, failures_{0};
};
