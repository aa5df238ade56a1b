/* SPDX-License-Identifier: Apache-2.0 */
#ifndef ORX_ESE_H_
#define ORX_ESE_H_

#include <orx/export.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

ORX_BEGIN_DECLS

ORX_EXPORT int ORX_eSE_RoT_binding_check(void);

ORX_EXPORT int ORX_eSE_SharedSecret_negotiation_check(void);

ORX_END_DECLS

#endif /* ORX_ESE_H_ */
