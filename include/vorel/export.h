/* Linkage and visibility of the public interface. Every public declaration stands between
 * VOREL_BEGIN_DECLS and VOREL_END_DECLS and carries VOREL_API. */
#ifndef VOREL_EXPORT_H
#define VOREL_EXPORT_H

#ifdef __cplusplus
#define VOREL_BEGIN_DECLS extern "C" {
#define VOREL_END_DECLS }
#else
#define VOREL_BEGIN_DECLS
#define VOREL_END_DECLS
#endif

#if defined(__GNUC__)
#define VOREL_API __attribute__((visibility("default")))
#else
#define VOREL_API
#endif

#endif
