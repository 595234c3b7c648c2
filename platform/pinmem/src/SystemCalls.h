#pragma once

#include <cstddef>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/vfs.h>

namespace pinmem_lib {

/// The system calls of this library, all of them: a test replaces entries to make a call fail or to watch it. Each
/// entry is the system's own function, or says what it is.
///
/// Threads: entries are changed only while one thread runs.
struct SystemCalls {
   /// openat with O_CLOEXEC, but never with a number of the standard streams: a program that has closed those may write
   /// to them all the same, and what it writes must not reach a file of ours.
   int (*openat)(int directory, char const* path, int flags, mode_t mode);
   int (*close)(int number);
   int (*fstat)(int number, struct stat* status);
   int (*fstatat)(int directory, char const* path, struct stat* status, int flags);
   int (*faccessat)(int directory, char const* path, int mode, int flags);
   int (*fstatfs)(int number, struct statfs* status);
   int (*mkdirat)(int directory, char const* path, mode_t mode);
   int (*unlinkat)(int directory, char const* path, int flags);
   int (*renameat)(int fromDirectory, char const* from, int toDirectory, char const* to);
   int (*fchmod)(int number, mode_t mode);
   int (*fchown)(int number, uid_t user, gid_t group);
   DIR* (*fdopendir)(int number);
   dirent* (*readdir)(DIR* stream);
   ssize_t (*read)(int number, void* bytes, std::size_t size);
   ssize_t (*pread)(int number, void* bytes, std::size_t size, off_t offset);
   ssize_t (*pwrite)(int number, void const* bytes, std::size_t size, off_t offset);
   ssize_t (*write)(int number, void const* bytes, std::size_t size);
   off_t (*lseek)(int number, off_t offset, int whence);
   int (*fallocate)(int number, int mode, off_t offset, off_t size);
   int (*ftruncate)(int number, off_t size);
   int (*flock)(int number, int operation);
   int (*lockRange)(int number, int command, struct flock* range); ///< fcntl with F_OFD_SETLK or F_OFD_GETLK
   void* (*mmap)(void* address, std::size_t size, int protection, int flags, int number, off_t offset);
   int (*munmap)(void* address, std::size_t size);
   int (*madvise)(void* address, std::size_t size, int advice);
   /// mbind of one node: `isStrict` MPOL_BIND, else MPOL_PREFERRED.
   int (*bindToNode)(void* address, std::size_t size, int node, bool isStrict);
   /// get_mempolicy: the node that holds the page at `address`; -1 when that failed.
   int (*nodeOf)(void* address);
};

/// The table that is in use; at first the system's.
extern constinit SystemCalls systemCalls;

} // namespace pinmem_lib
