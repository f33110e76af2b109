/*
** tavo_export.h: the export mark of libtavo's public functions.
*/
#ifndef TAVO_EXPORT_H
#define TAVO_EXPORT_H

#if defined(__GNUC__) || defined(__clang__)
#define TAVO_API __attribute__((visibility("default")))
#else
#define TAVO_API
#endif

#ifdef __cplusplus
#define TAVO_EXTERN_C_BEGIN extern "C" {
#define TAVO_EXTERN_C_END }
#else
#define TAVO_EXTERN_C_BEGIN
#define TAVO_EXTERN_C_END
#endif

#endif
