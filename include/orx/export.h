/* SPDX-License-Identifier: Apache-2.0 */
#ifndef ORX_EXPORT_H_
#define ORX_EXPORT_H_

/* ORX_EXPORT marks what liborx.so exports; the library is built with hidden visibility. */
#define ORX_EXPORT __attribute__((visibility("default")))

#ifdef __cplusplus
#define ORX_BEGIN_DECLS extern "C" {
#define ORX_END_DECLS }
#else
#define ORX_BEGIN_DECLS
#define ORX_END_DECLS
#endif

#endif /* ORX_EXPORT_H_ */
