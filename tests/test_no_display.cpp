#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <sys/wait.h>

#include "TestPaths.h"

// Without an X display the painting window cannot open: the program says so
// and points at the batch commands, instead of freeglut's terse exit.
TEST(NoDisplay, WindowStartExplainsAndFails) {
    const std::string command = std::string("env -u DISPLAY ") + KW_BINARY + " 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::string out;
    char buffer[256];
    while (std::fgets(buffer, sizeof buffer, pipe)) out += buffer;
    const int status = pclose(pipe);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 1);
    EXPECT_NE(out.find("cannot open the X display"), std::string::npos) << out;
    EXPECT_NE(out.find("--render work without a display"), std::string::npos) << out;
}
