/*
** config_p.h: helpers shared by the files of the drawing configuration.
**
** Key texts. Colour and option keys of a profile are
**   "velmora.interface.<profile>.color.<name>"   ("rgba(r,g,b,a)" texts)
**   "velmora.interface.<profile>.option.<name>"  (0 or 1)
** and every profile also has "resources_fallback" and "profile_is_valid".
** A profile name must be a valid settings-key part (letters, digits, . _ -)
** shorter than TAVOCONFIG_PROFILE_NAME_SIZE.
*/
#ifndef TAVO_CONFIG_P_H
#define TAVO_CONFIG_P_H

#include <stdint.h>

#include "tavoconfig.h"

/* "rgba(0,0,0,0)": the value of a colour nobody sets. */
#define TAVOCONFIG_NO_COLOR_TEXT "rgba(0,0,0,0)"
/* Longest "rgba(r,g,b,a)" text plus its terminator. */
#define TAVOCONFIG_COLOR_TEXT_SIZE 24

/* One colour of a profile table. */
typedef struct TavoProfileColor {
    const char *name;       /* colour key name */
    uint8_t r, g, b, a;
} TavoProfileColor;

/* One option of a profile table. */
typedef struct TavoProfileOption {
    const char *name;       /* option key name */
    int32_t value;
} TavoProfileOption;

/* The own defaults of one named profile: what it sets over its parent. */
typedef struct TavoProfileTable {
    const TavoProfileColor *colors;
    int32_t colorCount;
    const TavoProfileOption *options;
    int32_t optionCount;
} TavoProfileTable;

/* One key added to profiles after they were first stored, and the key whose
** value it starts from. */
typedef struct TavoNewColorKey {
    const char *name;
    const char *source;
} TavoNewColorKey;

/* Twelve rows; their names are colour indexes 260 to 271. */
extern const TavoNewColorKey _TAVOCONFIG_NewColorKeys[TAVOCONFIG_COLOR_COUNT - TAVOCONFIG_STORED_COLOR_COUNT];

/* Base default of an option without a fallback profile. */
int32_t _TAVOCONFIG_BaseOptionDefault(int32_t index);

/* True when `profile` is usable as part of a settings key. */
bool _TAVOCONFIG_ValidProfileName(const char *profile);

/* The own tables of the named profiles (profiles/ files), by profile index. */
extern const TavoProfileTable _TAVOCONFIG_ClassicTable;
extern const TavoProfileTable _TAVOCONFIG_AquaTable;
extern const TavoProfileTable _TAVOCONFIG_LightTable;
extern const TavoProfileTable _TAVOCONFIG_DarkAquaTable;
extern const TavoProfileTable _TAVOCONFIG_DarkClassicTable;
extern const TavoProfileTable _TAVOCONFIG_DarkFusionTable;
extern const TavoProfileTable _TAVOCONFIG_DarkMojaveTable;
extern const TavoProfileTable _TAVOCONFIG_DarkTahoeTable;
extern const TavoProfileTable _TAVOCONFIG_BlackTahoeTable;
extern const TavoProfileTable _TAVOCONFIG_LightFusionTable;
extern const TavoProfileTable _TAVOCONFIG_LightMojaveTable;
extern const TavoProfileTable _TAVOCONFIG_BlackandwhiteTable;
extern const TavoProfileTable _TAVOCONFIG_LightThemeTable;
extern const TavoProfileTable _TAVOCONFIG_MacosTable;
extern const TavoProfileTable _TAVOCONFIG_DebugTable;

/* Registers the view-state keys' defaults (stateconfig.cpp). */
void _TAVOCONFIG_RegisterStateDefaults(void);
/* Rebuilds the process-wide draw-config records (drawconfig.cpp). */
void _TAVOCONFIG_RebuildRecords(void);

#endif
