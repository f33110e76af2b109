// Named colour profiles: their derivation, the registration of their
// defaults, and the keys added to profiles after they were first stored.
//
// A profile is an ordered overlay of defaults: base zeros, then the values
// of its ancestors from the root down (each read as the ancestor's current
// value, so a colour the user stored in "aqua" flows into "dark_aqua" unless
// "dark_aqua" sets it), then its own table. Only defaults are registered;
// values the user stored are never overwritten.
#include "config/config_p.h"

#include <cstring>
#include <mutex>
#include <set>
#include <string>

#include "bldebug.h"
#include "blsettings.h"
#include "tavocolor.h"

namespace {

struct NamedProfile {
    const char *name;
    const char *parent;     // null: derives from nothing
    const TavoProfileTable *table;
};

// Parents come before their children so that one pass in this order
// registers every ancestor's defaults before a child copies them.
const NamedProfile kProfiles[TAVOCONFIG_PROFILE_COUNT] = {
    {"classic", nullptr, &_TAVOCONFIG_ClassicTable},
    {"aqua", "classic", &_TAVOCONFIG_AquaTable},
    {"light", "classic", &_TAVOCONFIG_LightTable},
    {"dark_aqua", "aqua", &_TAVOCONFIG_DarkAquaTable},
    {"dark_classic", "dark_aqua", &_TAVOCONFIG_DarkClassicTable},
    {"dark_fusion", "dark_aqua", &_TAVOCONFIG_DarkFusionTable},
    {"dark_mojave", "dark_aqua", &_TAVOCONFIG_DarkMojaveTable},
    {"dark_tahoe", "dark_aqua", &_TAVOCONFIG_DarkTahoeTable},
    {"black_tahoe", "dark_aqua", &_TAVOCONFIG_BlackTahoeTable},
    {"light_fusion", "light", &_TAVOCONFIG_LightFusionTable},
    {"light_mojave", "light_fusion", &_TAVOCONFIG_LightMojaveTable},
    {"blackandwhite", "light_mojave", &_TAVOCONFIG_BlackandwhiteTable},
    {"light_theme", "light", &_TAVOCONFIG_LightThemeTable},
    {"macos", "light", &_TAVOCONFIG_MacosTable},
    {"debug", "light", &_TAVOCONFIG_DebugTable},
};

const NamedProfile *findProfile(const char *name)
{
    if (name == nullptr) return nullptr;
    for (const NamedProfile &profile : kProfiles) {
        if (std::strcmp(profile.name, name) == 0) return &profile;
    }
    return nullptr;
}

// Registers the profile's own table. A row naming a key that does not exist
// is a fault in the table; it is logged and skipped rather than creating a
// key nothing reads.
void registerOwnTable(const char *profile, const TavoProfileTable &table)
{
    char text[TAVOCONFIG_COLOR_TEXT_SIZE];
    for (int32_t i = 0; i < table.colorCount; ++i) {
        const TavoProfileColor &row = table.colors[i];
        if (TAVOCONFIG_ColorKeyIndex(row.name) < 0) {
            BLDEBUG_Error("TAVOCONFIG_Reset: profile %s names unknown colour %s", profile, row.name);
            continue;
        }
        TAVOCOLOR_ToString(TAVOCOLOR_RGBA(row.r, row.g, row.b, row.a), text, sizeof text);
        BLSETTINGS_SetDefaultEx(nullptr, "velmora.interface.%s.color.%s=%s", profile, row.name, text);
    }
    for (int32_t i = 0; i < table.optionCount; ++i) {
        const TavoProfileOption &row = table.options[i];
        if (TAVOCONFIG_OptionKeyIndex(row.name) < 0) {
            BLDEBUG_Error("TAVOCONFIG_Reset: profile %s names unknown option %s", profile, row.name);
            continue;
        }
        BLSETTINGS_SetDefaultEx(nullptr, "velmora.interface.%s.option.%s=%d", profile, row.name, row.value);
    }
}

bool resetProfile(const char *name)
{
    const NamedProfile *profile = findProfile(name);
    if (profile == nullptr) return false;

    BLSETTINGS_SetDefaultEx(nullptr, "velmora.interface.%s.resources_fallback=%s", profile->name,
                            profile->parent != nullptr ? profile->parent : "");
    // Read back: a fallback the user stored replaces the built-in parent.
    char fallback[TAVOCONFIG_PROFILE_NAME_SIZE];
    BLSETTINGS_GetStringEx(nullptr, fallback, sizeof fallback, "velmora.interface.%s.resources_fallback",
                           profile->name);
    // A profile that names itself would copy its own defaults: treat it as
    // having none.
    const bool usable = fallback[0] != '\0' && std::strcmp(fallback, profile->name) != 0;
    TAVOCONFIG_CreateProfileScheme(profile->name, usable ? fallback : nullptr);

    BLSETTINGS_SetDefaultEx(nullptr, "velmora.interface.%s.profile_is_valid=1", profile->name);
    // Both spellings of these two options are distinct keys, and stored
    // profiles carry both; every named profile writes the capitalised ones.
    BLSETTINGS_SetDefaultEx(nullptr, "velmora.interface.%s.option.Low_Graphics_Engine=%d", profile->name, 0);
    BLSETTINGS_SetDefaultEx(nullptr, "velmora.interface.%s.option.Sidebar_Border=%d", profile->name, 0);
    registerOwnTable(profile->name, *profile->table);
    return true;
}

// Keys whose default AddNewSettings derived itself. A second reset derives
// them again, so that they follow their source key; keys that exist for any
// other reason (a stored value, a profile's own table) stay as they are.
// Made on first use and never destroyed, for the same reason as every
// table the start and stop sequences touch: they may run from load-time
// hooks before or after this file's static objects live.
std::mutex derivedMutex;
std::set<std::string> &derivedKeys()   // "<profile>.<key>"
{
    static auto *keys = new std::set<std::string>();
    return *keys;
}

}  // namespace

TAVO_API const char *TAVOCONFIG_ProfileName(int32_t index)
{
    if (index < 0 || index >= TAVOCONFIG_PROFILE_COUNT) return nullptr;
    return kProfiles[index].name;
}

TAVO_API const char *TAVOCONFIG_ProfileParent(const char *profile)
{
    const NamedProfile *found = findProfile(profile);
    return found != nullptr ? found->parent : nullptr;
}

TAVO_API uint32_t TAVOCONFIG_ProfileColor(const char *profile, const char *colorName)
{
    if (!_TAVOCONFIG_ValidProfileName(profile) || colorName == nullptr) return 0;
    char text[64];
    BLSETTINGS_GetStringEx(nullptr, text, sizeof text, "velmora.interface.%s.color.%s=[" TAVOCONFIG_NO_COLOR_TEXT "]",
                           profile, colorName);
    return TAVOCOLOR_FromString(text, 0);
}

TAVO_API bool TAVOCONFIG_ProfileIsDark(const char *profile)
{
    if (!_TAVOCONFIG_ValidProfileName(profile)) return false;
    const double start = TAVOCOLOR_Luminance(TAVOCONFIG_ProfileColor(profile, "waveform_background_gradient_start"));
    const double end = TAVOCOLOR_Luminance(TAVOCONFIG_ProfileColor(profile, "waveform_background_gradient_end"));
    return (start + end) / 2.0 < 0.5;
}

TAVO_API bool TAVOCONFIG_CreateProfileScheme(const char *profile, const char *fallback)
{
    if (!_TAVOCONFIG_ValidProfileName(profile)) return false;
    const bool hasFallback = _TAVOCONFIG_ValidProfileName(fallback);
    char text[64];
    for (int32_t i = 0; i < TAVOCONFIG_STORED_COLOR_COUNT; ++i) {
        const char *name = TAVOCONFIG_ColorKeyName(i);
        if (hasFallback) {
            BLSETTINGS_GetStringEx(nullptr, text, sizeof text,
                                   "velmora.interface.%s.color.%s=[" TAVOCONFIG_NO_COLOR_TEXT "]", fallback, name);
        } else {
            std::strcpy(text, TAVOCONFIG_NO_COLOR_TEXT);
        }
        BLSETTINGS_SetDefaultEx(nullptr, "velmora.interface.%s.color.%s=%s", profile, name, text);
    }
    for (int32_t i = 0; i < TAVOCONFIG_OPTION_COUNT; ++i) {
        const char *name = TAVOCONFIG_OptionKeyName(i);
        int64_t value = _TAVOCONFIG_BaseOptionDefault(i);
        if (hasFallback) {
            value = BLSETTINGS_GetIntEx(nullptr, "velmora.interface.%s.option.%s=[%d]", fallback, name,
                                        _TAVOCONFIG_BaseOptionDefault(i));
        }
        BLSETTINGS_SetDefaultEx(nullptr, "velmora.interface.%s.option.%s=%d", profile, name, value != 0 ? 1 : 0);
    }
    return true;
}

TAVO_API bool TAVOCONFIG_AddNewSettings(const char *profile)
{
    if (!_TAVOCONFIG_ValidProfileName(profile)) return false;
    char text[64];
    const std::lock_guard<std::mutex> guard(derivedMutex);
    for (const TavoNewColorKey &key : _TAVOCONFIG_NewColorKeys) {
        std::string id = std::string(profile) + "." + key.name;
        const bool derivedBefore = derivedKeys().count(id) != 0;
        if (!derivedBefore && BLSETTINGS_ExistsEx(nullptr, "velmora.interface.%s.color.%s", profile, key.name)) {
            continue;
        }
        BLSETTINGS_GetStringEx(nullptr, text, sizeof text,
                               "velmora.interface.%s.color.%s=[" TAVOCONFIG_NO_COLOR_TEXT "]", profile, key.source);
        BLSETTINGS_SetDefaultEx(nullptr, "velmora.interface.%s.color.%s=%s", profile, key.name, text);
        derivedKeys().insert(std::move(id));
    }
    return true;
}

TAVO_API bool TAVOCONFIG_ResetClassicProfile(void) { return resetProfile("classic"); }
TAVO_API bool TAVOCONFIG_ResetAquaProfile(void) { return resetProfile("aqua"); }
TAVO_API bool TAVOCONFIG_ResetLightProfile(void) { return resetProfile("light"); }
TAVO_API bool TAVOCONFIG_ResetDarkAquaProfile(void) { return resetProfile("dark_aqua"); }
TAVO_API bool TAVOCONFIG_ResetDarkClassicProfile(void) { return resetProfile("dark_classic"); }
TAVO_API bool TAVOCONFIG_ResetDarkFusionProfile(void) { return resetProfile("dark_fusion"); }
TAVO_API bool TAVOCONFIG_ResetDarkMojaveProfile(void) { return resetProfile("dark_mojave"); }
TAVO_API bool TAVOCONFIG_ResetDarkTahoeProfile(void) { return resetProfile("dark_tahoe"); }
TAVO_API bool TAVOCONFIG_ResetBlackTahoeProfile(void) { return resetProfile("black_tahoe"); }
TAVO_API bool TAVOCONFIG_ResetLightFusionProfile(void) { return resetProfile("light_fusion"); }
TAVO_API bool TAVOCONFIG_ResetLightMojaveProfile(void) { return resetProfile("light_mojave"); }
TAVO_API bool TAVOCONFIG_ResetBlackandwhiteProfile(void) { return resetProfile("blackandwhite"); }
TAVO_API bool TAVOCONFIG_ResetLightThemeProfile(void) { return resetProfile("light_theme"); }
TAVO_API bool TAVOCONFIG_ResetMacosProfile(void) { return resetProfile("macos"); }
TAVO_API bool TAVOCONFIG_ResetDebugProfile(void) { return resetProfile("debug"); }

TAVO_API bool TAVOCONFIG_ResetConfiguration(void)
{
    // Parent-before-child order, as the profile list is kept.
    TAVOCONFIG_ResetClassicProfile();
    TAVOCONFIG_ResetAquaProfile();
    TAVOCONFIG_ResetLightProfile();
    TAVOCONFIG_ResetDarkAquaProfile();
    TAVOCONFIG_ResetDarkClassicProfile();
    TAVOCONFIG_ResetDarkFusionProfile();
    TAVOCONFIG_ResetDarkMojaveProfile();
    TAVOCONFIG_ResetDarkTahoeProfile();
    TAVOCONFIG_ResetBlackTahoeProfile();
    TAVOCONFIG_ResetLightFusionProfile();
    TAVOCONFIG_ResetLightMojaveProfile();
    TAVOCONFIG_ResetBlackandwhiteProfile();
    TAVOCONFIG_ResetLightThemeProfile();
    TAVOCONFIG_ResetMacosProfile();
    TAVOCONFIG_ResetDebugProfile();
    for (const NamedProfile &profile : kProfiles) TAVOCONFIG_AddNewSettings(profile.name);

    // The profile shown when the user never chose one: the root look.
    BLSETTINGS_SetDefaultEx(nullptr, "velmora.interface.profile=%s", "classic");
    _TAVOCONFIG_RegisterStateDefaults();
    _TAVOCONFIG_RebuildRecords();
    return true;
}
