#include "src/Directory.h"
#include "src/Refusal.h"
#include "src/SystemCalls.h"
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>

namespace pinmem_lib {

namespace {

std::string withoutTrailingSlashes(std::string path)
{
   // "link/" would be followed in spite of O_NOFOLLOW.
   while (path.size() > 1 && path.back() == '/') {
      path.pop_back();
   }
   return path;
}

} // namespace

Directory::Directory(FileDescriptor descriptor, std::string path, Trust trust)
   : descriptor_(std::move(descriptor)), path_(std::move(path))
{
   if (trust == Trust::shared) {
      return;
   }
   struct stat status = {};
   if (systemCalls.fstat(number(), &status) != 0) {
      refuse("directory '", printable(path_), "' cannot be examined: ", systemText(errno));
   }
   bool const isOurs = status.st_uid == ::geteuid() || (trust == Trust::guarded && status.st_uid == 0);
   if (!isOurs) {
      refuse(
         "directory '", printable(path_), "' belongs to user ", status.st_uid, ", not to user ", ::geteuid(),
         "; remove it or use another with PINMEM_DIR");
   }
   // In a sticky directory nobody can rename or remove what is ours.
   bool const isSticky = trust == Trust::guarded && (status.st_mode & S_ISVTX) != 0;
   mode_t const forbidden = trust == Trust::guarded ? 022 : 077;
   if ((status.st_mode & forbidden) != 0 && !isSticky) {
      refuse(
         "directory '", printable(path_), "' is open to other users; run: chmod ",
         trust == Trust::guarded ? "go-w" : "0700", " '", printable(path_), "'");
   }
}

Directory Directory::open(std::string const& path, Trust trust)
{
   std::string const plain = withoutTrailingSlashes(path);
   int const follow = trust == Trust::shared ? 0 : O_NOFOLLOW;
   FileDescriptor descriptor(
      systemCalls.openat(AT_FDCWD, plain.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | follow, 0));
   if (!descriptor.isOpen()) {
      refuse(
         "directory '", printable(plain), "' cannot be opened: ", systemText(errno),
         "; it must be a directory and no link; make it, or name another with PINMEM_DIR");
   }
   return Directory(std::move(descriptor), plain, trust);
}

bool Directory::isRemoved() const
{
   struct stat status = {};
   return systemCalls.fstat(number(), &status) == 0 && status.st_nlink == 0;
}

std::optional<Directory> Directory::child(std::string const& name, Trust trust, Missing missing) const
{
   std::string const whole = path_ + "/" + name;
   if (missing == Missing::create && systemCalls.mkdirat(number(), name.c_str(), 0700) != 0 && errno != EEXIST) {
      int const error = errno;
      if (error == ENOENT && isRemoved()) { // a file system such as /proc gives the same error for good
         return std::nullopt;
      }
      refuse(
         "no writable memory directory: '", printable(whole), "' cannot be made: ", systemText(error), "; make '",
         printable(path_), "' writable, or name another place with PINMEM_DIR");
   }
   FileDescriptor descriptor(
      systemCalls.openat(number(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC, 0));
   if (!descriptor.isOpen()) {
      if (errno == ENOENT) {
         return std::nullopt;
      }
      refuse(
         "'", printable(whole), "' cannot be used as a directory: ", systemText(errno),
         "; it must be a directory of this user and no link");
   }
   return Directory(std::move(descriptor), whole, trust);
}

FileDescriptor Directory::file(std::string const& name, int flags) const
{
   return FileDescriptor(systemCalls.openat(number(), name.c_str(), flags | O_NOFOLLOW | O_CLOEXEC, 0600));
}

std::vector<std::string> Directory::entries() const
{
   FileDescriptor again(systemCalls.openat(number(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
   std::unique_ptr<DIR, int (*)(DIR*)> const stream(systemCalls.fdopendir(again.number()), &::closedir);
   if (stream == nullptr) {
      refuse("directory '", printable(path_), "' cannot be listed: ", systemText(errno));
   }
   again.release();
   std::vector<std::string> names;
   for (;;) {
      errno = 0;
      dirent const* const entry = systemCalls.readdir(stream.get());
      if (entry == nullptr && errno != 0) {
         refuse("directory '", printable(path_), "' cannot be listed: ", systemText(errno));
      }
      if (entry == nullptr) {
         return names;
      }
      std::string const name = entry->d_name;
      if (name != "." && name != "..") {
         names.push_back(name);
      }
   }
}

} // namespace pinmem_lib
