/* Symbol export control for liblumo3. Everything is hidden by default; only
 * declarations marked LUMO3_API are part of the library's interface. */
#ifndef LUMO3_EXPORT_H
#define LUMO3_EXPORT_H

#if defined(LUMO3_BUILDING) && (defined(__GNUC__) || defined(__clang__))
#define LUMO3_API __attribute__((visibility("default")))
#else
#define LUMO3_API
#endif

#if defined(__GNUC__) || defined(__clang__)
#define LUMO3_PRINTF(fmt_idx, arg_idx) __attribute__((format(printf, fmt_idx, arg_idx)))
#else
#define LUMO3_PRINTF(fmt_idx, arg_idx)
#endif

#ifdef __cplusplus
#define LUMO3_BEGIN_DECLS extern "C" {
#define LUMO3_END_DECLS }
#else
#define LUMO3_BEGIN_DECLS
#define LUMO3_END_DECLS
#endif

#endif /* LUMO3_EXPORT_H */
