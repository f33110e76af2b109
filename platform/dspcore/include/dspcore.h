/*
** dspcore.h: everything libdspcore offers, in one include: FFT processors,
** power spectra, windows and decibels (dspb.h) and cubic splines
** (dspbspline.h).
*/
#ifndef DSPCORE_H
#define DSPCORE_H

#include "dspb.h"
#include "dspbspline.h"

#endif
