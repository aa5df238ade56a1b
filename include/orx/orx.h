/* SPDX-License-Identifier: Apache-2.0 */
#ifndef ORX_ORX_H_
#define ORX_ORX_H_

/* Every family of the library's flat interface. */

#include <orx/attest.h>
#include <orx/device.h>
#include <orx/ese.h>
#include <orx/hash.h>
#include <orx/kdf.h>
#include <orx/rsa.h>
#include <orx/store.h>
#include <orx/sym.h>

#endif /* ORX_ORX_H_ */
