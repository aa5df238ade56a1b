/* SPDX-License-Identifier: Apache-2.0 */
#ifndef ORX_STORE_H_
#define ORX_STORE_H_

/*
 * Small files of raw bytes under a number: file k is "/mnt/vendor/persist/security/k.bin", without
 * a header, created with mode 0666 less the umask. Negative numbers are numbers ("-3.bin").
 *
 * One file is open at a time in a process, through a buffered stream, whose buffer is wiped when
 * the file is closed. The handles stand for it: Open writes 0, the others read nothing.
 *
 * A file that was opened stays open when a function returns 1 for it; close it all the same. Its
 * descriptor is inherited by programs that the process executes meanwhile.
 */

#include <orx/export.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

ORX_BEGIN_DECLS

/*
 * ORX_STORE_Open opens file `file_number` to be read or, if `write` is not 0, empties or creates it
 * to be written. Writes 0 to `*handle`, which may be null, in either case. Returns 1, with no file
 * open, when that is not possible or there is no memory.
 *
 * WARNING: a file that is still open is abandoned with a line in the log: its descriptor stays open
 * and what its stream buffers is written at the end of the process at best, and not wiped. Close
 * each file.
 *
 * WARNING: a file that is being written loses its old content here; a crash leaves it empty or
 * partial, and nothing syncs it to stable storage.
 */
ORX_EXPORT uint32_t ORX_STORE_Open(int file_number, uint32_t* handle, int write);

/*
 * ORX_STORE_Close writes what is buffered and closes the open file. Returns 1 when that fails, as
 * on a full file system: the content is then not what was written. No file is open afterwards,
 * whatever the result.
 *
 * WARNING: a file must be open. Closing without one ends the process on most C libraries.
 */
ORX_EXPORT uint32_t ORX_STORE_Close(uint32_t handle);

/*
 * ORX_STORE_Read reads `element_count` elements of `element_size` bytes from the open file to
 * `buffer`. Returns 1 when no file is open, when it was opened for writing, when the file ends
 * early (what there was is in `buffer` then; how much is not told), when reading fails, and for an
 * element size of 0. A count of 0 reads nothing and succeeds while a file is open.
 *
 * WARNING: a read that the stream cuts short is continued at the number of elements read, taken as
 * bytes: exact for an element size of 1, and at the wrong place for larger elements. Use elements
 * of 1 byte.
 */
ORX_EXPORT uint32_t ORX_STORE_Read(uint8_t* buffer, size_t element_size, size_t element_count);

/*
 * ORX_STORE_Write writes `element_count` elements of `element_size` bytes at `buffer` to the open
 * file. Returns 1 when no file is open, when it was opened for reading, when writing fails (a part
 * may be written) and for an element size of 0. Success means that the stream took the bytes: they
 * are in the file when ORX_STORE_Close returns 0. A count of 0 writes nothing and succeeds while a
 * file is open.
 *
 * WARNING: a write that the stream cuts short is continued as ORX_STORE_Read continues a read. Use
 * elements of 1 byte.
 */
ORX_EXPORT uint32_t ORX_STORE_Write(const uint8_t* buffer, size_t element_size,
                                    size_t element_count);

/*
 * ORX_STORE_Size writes the size in bytes of the open file to `*size`. Returns 1 when no file is
 * open or its size cannot be told.
 *
 * WARNING: the size is cut to 32 bits, so that a file of 4 GiB + 7 bytes has size 7, and leaves out
 * what is written but still buffered.
 */
ORX_EXPORT uint32_t ORX_STORE_Size(uint32_t handle, uint32_t* size);

/*
 * ORX_STORE_Delete removes file `file_number`, open or not. Returns 1 when there is none, or it
 * cannot be removed.
 */
ORX_EXPORT uint32_t ORX_STORE_Delete(int file_number);

ORX_END_DECLS

#endif /* ORX_STORE_H_ */
