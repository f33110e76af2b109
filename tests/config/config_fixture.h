// Shared set-up of the configuration tests: the global settings store is
// kept in memory only, so that values a test stores never reach a file and
// never leak into the next run.
#ifndef TAVO_TESTS_CONFIG_FIXTURE_H
#define TAVO_TESTS_CONFIG_FIXTURE_H

#include <gtest/gtest.h>

#include <string>

#include "blsettings.h"
#include "tavocolor.h"
#include "tavoconfig.h"

namespace tavotest {

class ConfigTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        BLSETTINGS_SetFileName("");
        TAVOCONFIG_ResetConfiguration();
    }

    static std::string colorKey(const char *profile, const char *name)
    {
        return std::string("velmora.interface.") + profile + ".color." + name;
    }
    static std::string colorText(const char *profile, const char *name)
    {
        char text[64];
        BLSETTINGS_GetStringEx(nullptr, text, sizeof text, "%s", colorKey(profile, name).c_str());
        return text;
    }
    static void storeColor(const char *profile, const char *name, const char *value)
    {
        ASSERT_TRUE(BLSETTINGS_ChangeEx(nullptr, "%s=%s", colorKey(profile, name).c_str(), value));
    }
    static void forgetColor(const char *profile, const char *name)
    {
        BLSETTINGS_ResetEx(nullptr, "%s", colorKey(profile, name).c_str());
    }
};

}  // namespace tavotest

#endif
