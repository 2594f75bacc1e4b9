/*
 * kor_export.h: what surrounds the declarations of every public header.
 *
 * Everything between KOR_BEGIN_DECLS and KOR_END_DECLS has C linkage and is
 * exported from the shared library.  KOR_STRUCT(X) makes X the name of struct
 * X: in C by a typedef, in C++ by declaring it.
 */
#ifndef LIBKOR_KOR_EXPORT_H
#define LIBKOR_KOR_EXPORT_H

#ifdef __cplusplus
#define KOR_BEGIN_LINKAGE extern "C" {
#define KOR_END_LINKAGE }
#define KOR_STRUCT(name) struct name
#else
#define KOR_BEGIN_LINKAGE
#define KOR_END_LINKAGE
#define KOR_STRUCT(name) typedef struct name name
#endif

/* Brackets the declarations of a header. */
#define KOR_BEGIN_DECLS \
    KOR_BEGIN_LINKAGE _Pragma("GCC visibility push(default)")
#define KOR_END_DECLS _Pragma("GCC visibility pop") KOR_END_LINKAGE

#endif
