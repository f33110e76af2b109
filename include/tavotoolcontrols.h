/*
** tavotoolcontrols.h: start and stop of the tool-control table
** (TAVOTOOLCONTROLS_). Both run on the UI thread, around every other use.
*/
#ifndef TAVOTOOLCONTROLS_H
#define TAVOTOOLCONTROLS_H

#include <stdbool.h>

#include "tavo_export.h"

TAVO_EXTERN_C_BEGIN

/* Builds the default toolbars (TAVOCONFIG_ResetToolContols). Returns true. */
TAVO_API bool TAVOTOOLCONTROLS_Initialize(void);
/* Empties the toolbar table (TAVOCONFIG_ClearToolContols). Returns true. */
TAVO_API bool TAVOTOOLCONTROLS_Finalize(void);

TAVO_EXTERN_C_END

#endif
