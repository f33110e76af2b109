// The main of every test program: points the settings store at a file of
// the build folder (never the user's) and runs Qt without a display, before
// any test starts.
#include <gtest/gtest.h>

#include <cstdlib>

int main(int argc, char **argv)
{
    setenv("TAVO_SETTINGS", TAVO_TEST_SETTINGS_FILE, 0);
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
