#pragma once

#include <cstdint>
#include <pinmem/Export.h>

/// Named blocks of memory that outlive the process: a process that died comes back, asks for the same names and finds
/// the same bytes at the same bus address.
///
/// Blocks belong to a *domain*, a folder of the machine that all processes of one user share. The environment names it:
/// `PINMEM_DOMAIN` (default `default`), `PINMEM_DIR` (another place, for tests), `PINMEM_BACKEND` (`auto`, `hugetlb` or
/// `shm`), `PINMEM_NODE` (NUMA node for new memory) and `PINMEM_GROUP` (whose members may look at the domain with
/// pinmemctl). They are read at the first call of a process and never again; programs that gained privilege when they
/// were started (set-user-id) ignore them.
///
/// Errors:  a refused call returns 0, changes nothing and leaves its reason, one line with cause and cure, for
///          `pinmem_last_error()`. No function here throws; they are not `noexcept` so that a stand-in may.
/// Memory that is gone (its files were removed; a login manager may do that with a user's /dev/shm at logout): the next
///          allocation makes it anew, all zero, at the same bus address, unless it grows. While other processes use the
///          domain that is refused, since they may have the old memory mapped and devices may use its address. After a
///          boot it is never refused. A forked child that goes on is not told apart from its parent here.
/// Descriptors: the library keeps some open, with close-on-exec. Leave them open: a program that closes all its
///          descriptors (to become a daemon, say) does so before its first call here. Otherwise calls that need them
///          are refused where that can be noticed, and the domain may look unused to `pinmemctl remove-domain`.
/// Threads: every function may be called from every thread, also while static objects are being destroyed. After a
///          `fork` the child may go on using the library if the parent had one thread; mappings are inherited.

extern "C" {

/// Makes the block `name`, or finds the one that has this name already.
///
/// @param name   1 to 255 bytes, any byte but NUL; longer names are refused, never cut
/// @param size   in bytes; 0 gives the smallest unit, recorded with size 0. A new block reads as zero. A known block is
///               returned as it is, contents untouched, when `size` fits its capacity (its size rounded up to a multiple
///               of 64, or to whole pages when it has memory of its own), and refused otherwise.
/// @param owner  label kept in the block's record, for people; null counts as empty, and only the first 255 bytes are
///               kept. The first allocation decides; later ones may come from another owner.
/// @param flags  0: DMA memory, frugal: always packed side by side with other blocks. 4: DMA memory, roomy: from 1 MiB on
///               memory of its own. 1: ordinary memory, not for devices, placed like 4. A DMA block may be asked for as
///               ordinary memory; the reverse is refused, as is every other flag.
/// @return the block's bus address (ordinary memory: a token, unique in the domain, bit 63 set), aligned to 64 bytes,
///         and to 4096 when the size is a multiple of that; a block of up to 4096 bytes does not cross a multiple of 4096.
///         0 when refused. With the `hugetlb` backend bus addresses are physical ones; with `shm` they are simulated:
///         unique in the domain, stable, never overlapping, and with bit 63 set so that no device can reach them.
/// Cost: a name this process knows: one hash lookup under a mutex, no system call. A new block: some ten system calls
///       and the clearing of its pages.
PINMEM_EXPORT std::uint64_t
pinmem_alloc_func(char const* name, std::uint32_t size, char const* owner, std::uint32_t flags);

/// Maps the block `name` into this process, readable and writable, whole, shared with every other process.
///
/// @param name      a block of the domain, made by this process or by any other, also by one that is dead
/// @param mode      pass 1; other values are refused
/// @param reserved1 pass 0; other values are refused
/// @param reserved2 like `reserved1`
/// @return the virtual address, aligned like the bus address; 0 when refused. Each successful call counts once and wants
///         its `pinmem_unmap`; while a block is mapped, further calls return the same address.
/// Cost: a block that this process has allocated or mapped: one hash lookup under a mutex, and four system calls if it
///       has memory of its own that was unmapped. Any other: the same and a look into the index.
PINMEM_EXPORT std::uint64_t pinmem_map(char const* name, int mode, std::uint64_t reserved1, std::uint64_t reserved2);

/// Releases one `pinmem_map` of `name`. The last one removes the mapping of a block that has memory of its own; the
/// arena of a packed block stays mapped until the process ends. The block itself stays in the domain.
///
/// @param virtualAddress what `pinmem_map` returned
/// @param reserved       pass 0; not looked at
/// A name or address that is not mapped changes nothing and sets `pinmem_last_error()`.
PINMEM_EXPORT void pinmem_unmap(char const* name, std::uint64_t virtualAddress, int reserved);

/// Why the last refused call of this thread was refused: one line that starts `pinmem: '<name>'`, or the empty text
/// when none was. The name is empty when none was given, and when this process has no memory left. Successful calls
/// leave it alone. Borrowed: valid until this thread's next refused call.
PINMEM_EXPORT char const* pinmem_last_error(void);
}
