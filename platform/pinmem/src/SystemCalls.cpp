#include "src/SystemCalls.h"
#include <cerrno>
#include <cstdio>
#include <linux/mempolicy.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace pinmem_lib {

namespace {

int openFile(int directory, char const* path, int flags, mode_t mode)
{
   int const number = ::openat(directory, path, flags, mode);
   if (number < 0 || number > STDERR_FILENO) {
      return number;
   }
   int const higher = ::fcntl(number, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
   int const error = errno;
   ::close(number);
   errno = error;
   return higher;
}

int lockRange(int number, int command, struct flock* range)
{
   return ::fcntl(number, command, range);
}

int bindToNode(void* address, std::size_t size, int node, bool isStrict)
{
   constexpr unsigned long maskBits = 1024;
   constexpr unsigned long wordBits = 8 * sizeof(unsigned long);
   unsigned long mask[maskBits / wordBits] = {};
   if (node < 0 || static_cast<unsigned long>(node) >= maskBits) {
      errno = EINVAL;
      return -1;
   }
   mask[static_cast<unsigned long>(node) / wordBits] = 1UL << (static_cast<unsigned long>(node) % wordBits);
   int const mode = isStrict ? MPOL_BIND : MPOL_PREFERRED;
   return static_cast<int>(::syscall(SYS_mbind, address, size, mode, mask, maskBits + 1, 0));
}

int nodeOf(void* address)
{
   int node = -1;
   long const result = ::syscall(SYS_get_mempolicy, &node, nullptr, 0UL, address, MPOL_F_NODE | MPOL_F_ADDR);
   return result == 0 ? node : -1;
}

} // namespace

constinit SystemCalls systemCalls = {
   .openat = openFile,
   .close = ::close,
   .fstat = ::fstat,
   .fstatat = ::fstatat,
   .faccessat = ::faccessat,
   .fstatfs = ::fstatfs,
   .mkdirat = ::mkdirat,
   .unlinkat = ::unlinkat,
   .renameat = ::renameat,
   .fchmod = ::fchmod,
   .fchown = ::fchown,
   .fdopendir = ::fdopendir,
   .readdir = ::readdir,
   .read = ::read,
   .pread = ::pread,
   .pwrite = ::pwrite,
   .write = ::write,
   .lseek = ::lseek,
   .fallocate = ::fallocate,
   .ftruncate = ::ftruncate,
   .flock = ::flock,
   .lockRange = lockRange,
   .mmap = ::mmap,
   .munmap = ::munmap,
   .madvise = ::madvise,
   .bindToNode = bindToNode,
   .nodeOf = nodeOf,
};

} // namespace pinmem_lib
