#pragma once
// Shared pieces of the command tests: a private settings folder per test.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

// Points XDG_CONFIG_HOME at a fresh temporary folder for its lifetime.
class TempSettingsFolder {
public:
    TempSettingsFolder() {
        char tmpl[] = "/tmp/kw_commands_XXXXXX";
        if (mkdtemp(tmpl)) dir = tmpl;
        if (const char* old = std::getenv("XDG_CONFIG_HOME")) {
            hadOld = true;
            oldValue = old;
        }
        setenv("XDG_CONFIG_HOME", dir.c_str(), 1);
    }
    ~TempSettingsFolder() {
        if (hadOld) setenv("XDG_CONFIG_HOME", oldValue.c_str(), 1);
        else unsetenv("XDG_CONFIG_HOME");
        std::error_code ec;
        if (!dir.empty()) std::filesystem::remove_all(dir, ec);
    }
    TempSettingsFolder(const TempSettingsFolder&) = delete;
    TempSettingsFolder& operator=(const TempSettingsFolder&) = delete;

    std::string dir;

private:
    bool hadOld = false;
    std::string oldValue;
};
