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

/// The bits that let members of the group list a directory and open what is in it.
constexpr mode_t groupMayLook = 050;

struct stat statusOf(int number, std::string const& what)
{
   struct stat status = {};
   if (systemCalls.fstat(number, &status) != 0) {
      refuse(what, " cannot be examined: ", systemText(errno));
   }
   return status;
}

std::string withoutTrailingSlashes(std::string path)
{
   // "link/" would be followed in spite of O_NOFOLLOW.
   while (path.size() > 1 && path.back() == '/') {
      path.pop_back();
   }
   return path;
}

} // namespace

Directory::Directory(FileDescriptor descriptor, std::string path, Trust trust, Sharing const& sharing)
   : descriptor_(std::move(descriptor)), path_(std::move(path)), sharing_(sharing)
{
   if (trust != Trust::shared) {
      check(trust);
   }
}

void Directory::check(Trust trust) const
{
   std::string const path = printable(path_);
   struct stat const status = statusOf(number(), "directory '" + path + "'");
   bool const isOurs = status.st_uid == sharing_.user || (trust == Trust::guarded && status.st_uid == 0);
   if (!isOurs) {
      refuse(
         "directory '", path, "' belongs to user ", status.st_uid, ", not to user ", sharing_.user,
         "; run this as user ", status.st_uid, ", or use another place with PINMEM_DIR");
   }
   mode_t const others = status.st_mode & 077;
   if (trust == Trust::guarded) {
      // In a sticky directory nobody can rename or remove what is ours.
      bool const isSticky = (status.st_mode & S_ISVTX) != 0;
      if ((others & 022) != 0 && !isSticky) {
         refuse("directory '", path, "' is open to other users; run: chmod go-w '", path, "'");
      }
      return;
   }
   if (others != 0 && others != groupMayLook) {
      refuse(
         "directory '", path, "' is open to other users; run: chmod ", sharing_.group ? "0750" : "0700", " '", path,
         "'");
   }
   bool const isGroupMeant = sharing_.group || sharing_.isAnyGroupGood || trust == Trust::common;
   if (others == groupMayLook && !isGroupMeant) {
      refuse(
         "directory '", path, "' is open to group ", status.st_gid, "; set PINMEM_GROUP=", status.st_gid,
         " if that is meant, else run: chmod 0700 '", path, "'");
   }
}

void Directory::shareWithGroup() const
{
   if (!sharing_.group) {
      return;
   }
   std::string const path = printable(path_);
   struct stat const status = statusOf(number(), "directory '" + path + "'");
   mode_t const others = status.st_mode & 077;
   if (others == 0) {
      giveToGroup(number(), 0750, "directory '" + path + "'");
      return;
   }
   bool const isOpenToAll = (others & 05) == 05;
   if (status.st_gid != *sharing_.group && !isOpenToAll) {
      refuse(
         "directory '", path, "' is open to group ", status.st_gid, ", not to group ", *sharing_.group, "; run: chgrp ",
         *sharing_.group, " '", path, "', or use another place with PINMEM_DIR");
   }
}

void Directory::letGroupRead(FileDescriptor const& file, std::string const& name) const
{
   if (!sharing_.group) {
      return;
   }
   std::string const what = "file '" + printable(path_) + "/" + name + "'";
   struct stat const status = statusOf(file.number(), what);
   if ((status.st_mode & 0777) != 0640 || status.st_gid != *sharing_.group) {
      giveToGroup(file.number(), 0640, what);
   }
}

void Directory::giveToGroup(int number, mode_t mode, std::string const& what) const
{
   // The group first: the one that it belongs to now is not to be let in.
   constexpr auto sameUser = static_cast<uid_t>(-1);
   if (systemCalls.fchown(number, sameUser, *sharing_.group) != 0 || systemCalls.fchmod(number, mode) != 0) {
      refuse(
         what, " cannot be given to group ", *sharing_.group, ": ", systemText(errno), "; make user ", sharing_.user,
         " a member of it, or unset PINMEM_GROUP");
   }
}

Directory Directory::open(std::string const& path, Trust trust, Sharing const& sharing)
{
   std::string const plain = withoutTrailingSlashes(path);
   int const follow = trust == Trust::shared ? 0 : O_NOFOLLOW;
   FileDescriptor descriptor(
      systemCalls.openat(AT_FDCWD, plain.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | follow, 0));
   if (!descriptor.isOpen()) {
      refuseUnopened(
         errno, "directory '", printable(plain), "' cannot be opened: ", systemText(errno),
         "; it must be a directory and no link; make it, or name another with PINMEM_DIR");
   }
   return Directory(std::move(descriptor), plain, trust, sharing);
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
      refuseUnopened(
         errno, "'", printable(whole), "' cannot be used as a directory: ", systemText(errno),
         "; it must be a directory of this user and no link");
   }
   Directory directory(std::move(descriptor), whole, trust, sharing_);
   directory.shareWithGroup();
   return directory;
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
