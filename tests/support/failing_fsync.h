// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace orx_test {

// FailFsync makes every fsync() of this program fail with `error`; 0 lets them reach the kernel
// again. Takes effect where failing_fsync.cpp is linked into the program.
void FailFsync(int error);

// FsyncCalls returns how often fsync() was called.
int FsyncCalls();

}  // namespace orx_test
