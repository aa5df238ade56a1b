/* SPDX-License-Identifier: Apache-2.0 */
#ifndef ORX_ESE_H_
#define ORX_ESE_H_

/*
 * Self-tests of the secure element: that the StrongBox and the TEE belong together. Both talk to
 * the two HAL instances ("default" is the TEE, "strongbox" the secure element) without waiting for
 * either. They return 0 for a pass and 1 at the first failure, whose reason is one line in the
 * debug log; a pass writes one line too. They keep no state and may run on any thread.
 */

#include <orx/export.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

ORX_BEGIN_DECLS

/*
 * ORX_eSE_RoT_binding_check has the StrongBox KeyMint issue a challenge, the TEE KeyMint
 * authenticate the device's root of trust for it, and the StrongBox accept that. Both must serve
 * version 2 or later of IKeyMintDevice.
 *
 * WARNING: an instance that is too old for the test is reported as a failure, 1; the log line
 * ("Test not applicable to ...") tells the two apart.
 */
ORX_EXPORT int ORX_eSE_RoT_binding_check(void);

/*
 * ORX_eSE_SharedSecret_negotiation_check collects the ISharedSecret parameters of the TEE and of
 * the StrongBox (seeds of 0 or 32 bytes, nonces of 32), has both compute the shared secret from
 * them, and compares the values by which they show it.
 *
 * WARNING: the parameters are passed in the order TEE, StrongBox, where the system sorts them: both
 * sides hold the secret that the test negotiated afterwards, which may not be that of the boot.
 * Both have to agree whatever the order, and the check relies on nothing else; reboot after it.
 */
ORX_EXPORT int ORX_eSE_SharedSecret_negotiation_check(void);

ORX_END_DECLS

#endif /* ORX_ESE_H_ */
