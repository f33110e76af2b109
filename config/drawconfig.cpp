// The draw-config records: one for document views, one for the clock
// display, each read from the settings of its profile; plus the host's
// system font and window background.
#include "config/config_p.h"

#include <cstdio>
#include <cstring>
#include <mutex>

#include "blsettings.h"
#include "tavocolor.h"

namespace {

// Guards the two process-wide records and the host values while they are
// rebuilt. Readers get pointers to the records and read them on the UI
// thread, which is the only thread that rebuilds them.
std::mutex recordsMutex;
TAVODRAWCONFIG viewRecord;
TAVODRAWCONFIG displayRecord;

char systemFont[TAVOCONFIG_FONT_NAME_SIZE] = "Sans";
bool hostBackgroundSet = false;
uint32_t hostBackground = 0;

struct FontKey {
    const char *key;        // part of "velmora.interface.<profile>.font.<key>.*"
    float size;             // points, when the profile has none
    TAVOCONFIGFONT TAVODRAWCONFIG::*field;
};

// Scales use a smaller type than labels; channel ids stand out a little.
const FontKey kFonts[] = {
    {"scale", 8.0f, &TAVODRAWCONFIG::scaleFont},
    {"region", 9.0f, &TAVODRAWCONFIG::regionFont},
    {"tool_control", 9.0f, &TAVODRAWCONFIG::toolControlFont},
    {"channelid", 10.0f, &TAVODRAWCONFIG::channelIdFont},
};

void copyName(char *target, size_t size, const char *source)
{
    std::snprintf(target, size, "%s", source);
}

void readFont(const char *profile, const FontKey &key, TAVOCONFIGFONT *font)
{
    char family[TAVOCONFIG_FONT_NAME_SIZE];
    BLSETTINGS_GetStringEx(nullptr, family, sizeof family, "velmora.interface.%s.font.%s.family", profile, key.key);
    copyName(font->family, sizeof font->family, family[0] != '\0' ? family : systemFont);
    const double size = BLSETTINGS_GetFloatEx(nullptr, "velmora.interface.%s.font.%s.size=[%f]", profile, key.key,
                                              double(key.size));
    // A size the canvas cannot draw falls back to the built-in one.
    font->size = size >= 1.0 && size <= 200.0 ? float(size) : key.size;
    const int64_t weight = BLSETTINGS_GetIntEx(nullptr, "velmora.interface.%s.font.%s.weight=[0]", profile, key.key);
    font->weight = weight >= 0 && weight <= 8 ? int32_t(weight) : 0;
    const int64_t stretch = BLSETTINGS_GetIntEx(nullptr, "velmora.interface.%s.font.%s.stretch=[0]", profile, key.key);
    font->stretch = stretch >= 0 && stretch <= 8 ? int32_t(stretch) : 0;
    font->italic = BLSETTINGS_GetBoolEx(nullptr, "velmora.interface.%s.font.%s.italic=[0]", profile, key.key);
}

// Fills every field of `config` from the settings of config->profile.
void readRecord(TAVODRAWCONFIG *config)
{
    const char *profile = config->profile;
    char text[64];
    for (int32_t i = 0; i < TAVOCONFIG_COLOR_COUNT; ++i) {
        BLSETTINGS_GetStringEx(nullptr, text, sizeof text, "velmora.interface.%s.color.%s=[" TAVOCONFIG_NO_COLOR_TEXT "]",
                               profile, TAVOCONFIG_ColorKeyName(i));
        config->colors[i] = TAVOCOLOR_FromString(text, 0);
    }
    for (int32_t i = 0; i < TAVOCONFIG_OPTION_COUNT; ++i) {
        const int64_t value = BLSETTINGS_GetIntEx(nullptr, "velmora.interface.%s.option.%s=[%d]", profile,
                                                  TAVOCONFIG_OptionKeyName(i), _TAVOCONFIG_BaseOptionDefault(i));
        config->options[i] = value != 0 ? 1 : 0;
    }
    // Profiles stored by older versions switch these two with their
    // capitalised keys; either spelling turns the option on.
    if (BLSETTINGS_GetIntEx(nullptr, "velmora.interface.%s.option.Low_Graphics_Engine=[0]", profile) != 0) {
        config->options[TAVOCONFIG_OPTION_LOW_GRAPHICS_ENGINE] = 1;
    }
    if (BLSETTINGS_GetIntEx(nullptr, "velmora.interface.%s.option.Sidebar_Border=[0]", profile) != 0) {
        config->options[TAVOCONFIG_OPTION_SIDEBAR_BORDER] = 1;
    }
    for (const FontKey &key : kFonts) readFont(profile, key, &(config->*key.field));
    const double start = TAVOCOLOR_Luminance(config->colors[TAVOCONFIG_COLOR_WAVEFORM_BACKGROUND_GRADIENT_START]);
    const double end = TAVOCOLOR_Luminance(config->colors[TAVOCONFIG_COLOR_WAVEFORM_BACKGROUND_GRADIENT_END]);
    config->darkProfile = (start + end) / 2.0 < 0.5;
}

// The current profile's name; the root profile when the stored name cannot
// be used in a key.
void currentProfile(char *buffer, size_t size)
{
    BLSETTINGS_GetStringEx(nullptr, buffer, size, "velmora.interface.profile=[classic]");
    if (!_TAVOCONFIG_ValidProfileName(buffer)) copyName(buffer, size, "classic");
}

void displayProfile(char *buffer, size_t size)
{
    BLSETTINGS_GetStringEx(nullptr, buffer, size, "velmora.interface.display_profile");
    if (!_TAVOCONFIG_ValidProfileName(buffer)) currentProfile(buffer, size);
}

void rebuild(TAVODRAWCONFIG *record, bool display)
{
    TAVODRAWCONFIG fresh;
    std::memset(&fresh, 0, sizeof fresh);
    if (display) {
        displayProfile(fresh.profile, sizeof fresh.profile);
    } else {
        currentProfile(fresh.profile, sizeof fresh.profile);
    }
    readRecord(&fresh);
    const std::lock_guard<std::mutex> guard(recordsMutex);
    *record = fresh;
}

}  // namespace

void _TAVOCONFIG_RebuildRecords(void)
{
    rebuild(&viewRecord, false);
    rebuild(&displayRecord, true);
}

TAVO_API bool TAVOCONFIG_InitDrawConfig(TAVODRAWCONFIG *config, const char *profile)
{
    if (config == nullptr) return false;
    std::memset(config, 0, sizeof *config);
    if (profile == nullptr) {
        currentProfile(config->profile, sizeof config->profile);
    } else {
        if (!_TAVOCONFIG_ValidProfileName(profile)) return false;
        copyName(config->profile, sizeof config->profile, profile);
    }
    readRecord(config);
    return true;
}

TAVO_API bool TAVOCONFIG_UpdateDrawConfig(TAVODRAWCONFIG *config)
{
    if (config == nullptr || !_TAVOCONFIG_ValidProfileName(config->profile)) return false;
    readRecord(config);
    return true;
}

TAVO_API const TAVODRAWCONFIG *TAVOCONFIG_GetDrawConfig(void)
{
    return &viewRecord;
}

TAVO_API const TAVODRAWCONFIG *TAVOCONFIG_GetCurrentDrawConfig(void)
{
    rebuild(&viewRecord, false);
    return &viewRecord;
}

TAVO_API bool TAVOCONFIG_InitDisplayDrawConfig(TAVODRAWCONFIG *config)
{
    if (config == nullptr) return false;
    std::memset(config, 0, sizeof *config);
    displayProfile(config->profile, sizeof config->profile);
    readRecord(config);
    return true;
}

TAVO_API const TAVODRAWCONFIG *TAVOCONFIG_GetDisplayDrawConfig(void)
{
    return &displayRecord;
}

TAVO_API const TAVODRAWCONFIG *TAVOCONFIG_GetCurrentDisplayDrawConfig(void)
{
    rebuild(&displayRecord, true);
    return &displayRecord;
}

TAVO_API bool TAVOCONFIG_CurrentProfile(char *buffer, int32_t size)
{
    if (buffer == nullptr || size <= 0) return false;
    currentProfile(buffer, size_t(size));
    return true;
}

TAVO_API bool TAVOCONFIG_SetCurrentProfile(const char *profile)
{
    if (!_TAVOCONFIG_ValidProfileName(profile)) return false;
    if (!BLSETTINGS_ChangeEx(nullptr, "velmora.interface.profile=%s", profile)) return false;
    _TAVOCONFIG_RebuildRecords();
    return true;
}

TAVO_API bool TAVOCONFIG_SetDefaultSystemFont(const char *family)
{
    if (family == nullptr || family[0] == '\0') family = "Sans";
    if (std::strlen(family) >= TAVOCONFIG_FONT_NAME_SIZE) return false;
    {
        const std::lock_guard<std::mutex> guard(recordsMutex);
        copyName(systemFont, sizeof systemFont, family);
    }
    // Fonts without a family of their own follow the new system font.
    _TAVOCONFIG_RebuildRecords();
    return true;
}

TAVO_API const char *TAVOCONFIG_DefaultSystemFont(void)
{
    return systemFont;
}

TAVO_API bool TAVOCONFIG_SetSystemBackgrondColor(uint32_t color)
{
    const std::lock_guard<std::mutex> guard(recordsMutex);
    hostBackground = color;
    hostBackgroundSet = true;
    return true;
}

TAVO_API uint32_t TAVOCONFIG_WindowBackgroundColor(void)
{
    const std::lock_guard<std::mutex> guard(recordsMutex);
    return hostBackgroundSet ? hostBackground : viewRecord.colors[TAVOCONFIG_COLOR_WINDOW_BACKGROUND];
}
