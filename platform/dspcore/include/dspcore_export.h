/*
** dspcore_export.h: the export mark of libdspcore's public functions.
*/
#ifndef DSPCORE_EXPORT_H
#define DSPCORE_EXPORT_H

#if defined(__GNUC__) || defined(__clang__)
#define DSPB_API __attribute__((visibility("default")))
#else
#define DSPB_API
#endif

#ifdef __cplusplus
#define DSPB_EXTERN_C_BEGIN extern "C" {
#define DSPB_EXTERN_C_END }
#else
#define DSPB_EXTERN_C_BEGIN
#define DSPB_EXTERN_C_END
#endif

#endif
