/*
** template_check_p.h: the checks of a track-template document, shared by
** the template functions and the template fuzz target. Depends only on
** libfound's dictionaries, so it can be built without the engine.
*/
#ifndef TAVO_TEMPLATE_CHECK_P_H
#define TAVO_TEMPLATE_CHECK_P_H

#include <stdint.h>

#include "bldict.h"
#include "tavotracks.h"

/* The "format" every template carries. */
#define TAVOTRACKS_TEMPLATE_FORMAT "tavoaudio_track_template"

/* Writes `message` into `error` with "%s" when `error` is not null and
** `size` >= 1 (cut to size - 1 bytes). */
void _TAVOTRACKS_ReportError(char *error, int32_t size, const char *message);

/* Checks the root of a template, then its tracks, in the documented order;
** the first failure goes to `error` and gives false. */
bool _TAVOTRACKS_CheckTemplate(BLDICT root, char *error, int32_t size);

/* Fills `info` (zeroed first) from a template that passed the check. */
void _TAVOTRACKS_ReadTemplateInfo(BLDICT root, TAVOTRACKTEMPLATEINFO *info);

#endif
