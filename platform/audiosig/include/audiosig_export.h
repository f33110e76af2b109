/*
** audiosig_export.h: the export mark of libaudiosig's public functions.
*/
#ifndef AUDIOSIG_EXPORT_H
#define AUDIOSIG_EXPORT_H

#if defined(__GNUC__) || defined(__clang__)
#define AUDIO_API __attribute__((visibility("default")))
#else
#define AUDIO_API
#endif

#ifdef __cplusplus
#define AUDIO_EXTERN_C_BEGIN extern "C" {
#define AUDIO_EXTERN_C_END }
#else
#define AUDIO_EXTERN_C_BEGIN
#define AUDIO_EXTERN_C_END
#endif

#endif
