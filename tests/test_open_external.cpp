// The desktop opener: a missing one is reported, a failing one is heard.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "platform/OpenExternal.h"

namespace {
struct OpenerOverride {
    explicit OpenerOverride(const char* command) {
        const char* old = std::getenv("KESTRELWING_OPEN_CMD");
        had = old != nullptr;
        if (old) previous = old;
        setenv("KESTRELWING_OPEN_CMD", command, 1);
    }
    ~OpenerOverride() {
        if (had) setenv("KESTRELWING_OPEN_CMD", previous.c_str(), 1);
        else unsetenv("KESTRELWING_OPEN_CMD");
    }
    bool had = false;
    std::string previous;
};

bool waitFor(const std::atomic<int>& value, int expected) {
    for (int i = 0; i < 250 && value.load() != expected; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return value.load() == expected;
}
} // namespace

TEST(OpenExternal, AMissingOpenerIsReportedAtOnce) {
    OpenerOverride opener("/nonexistent/kw-no-such-opener");
    EXPECT_EQ(platform::externalOpener(), "/nonexistent/kw-no-such-opener");
    EXPECT_FALSE(platform::openExternal("https://example.org/"));
}

TEST(OpenExternal, AnOpenerThatFailsIsHeardAndOneThatWorksIsNot) {
    std::atomic<int> failures{0};
    std::atomic<int> status{-100};
    {
        OpenerOverride opener("false");
        ASSERT_TRUE(platform::openExternal("/tmp", [&](int s) {
            status = s;
            ++failures;
        }));
        EXPECT_TRUE(waitFor(failures, 1));
        EXPECT_EQ(status.load(), 1);
    }
    {
        OpenerOverride opener("true");
        ASSERT_TRUE(platform::openExternal("/tmp", [&](int) { ++failures; }));
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        EXPECT_EQ(failures.load(), 1);
    }
}
