/*
** found_export.h: the export mark of libfound's public functions.
** Everything not marked stays hidden inside the shared object.
*/
#ifndef FOUND_EXPORT_H
#define FOUND_EXPORT_H

#if defined(__GNUC__) || defined(__clang__)
#define FOUND_API __attribute__((visibility("default")))
#else
#define FOUND_API
#endif

#ifdef __cplusplus
#define FOUND_EXTERN_C_BEGIN extern "C" {
#define FOUND_EXTERN_C_END }
#else
#define FOUND_EXTERN_C_BEGIN
#define FOUND_EXTERN_C_END
#endif

#endif
