#pragma once

#include "src/FileDescriptor.h"
#include "src/Sharing.h"
#include <optional>
#include <string>
#include <vector>

namespace pinmem_lib {

/// An open directory. Everything below it is reached through its descriptor, so that nobody can swap a part of the
/// path afterwards; links are never followed.
class Directory {
public:
   /// Whom a directory may belong to, and who may write in it.
   enum class Trust {
      shared,  ///< anyone's, like /dev/shm: what is below it is looked at on its own
      guarded, ///< this user's or root's; nobody else may write, or its sticky bit is set
      common,  ///< this user's: 0700, or 0750; holds domains of both kinds
      hidden   ///< this user's: 0700, or 0750 for the group that the domain is shared with
   };

   enum class Missing { create, leave };

   /// @param sharing  "this user" above is its user; also for what is opened or made below this directory
   /// @throws Refusal  when it is not there, is a link (unless `shared`), or does not deserve the trust
   static Directory open(std::string const& path, Trust trust, Sharing const& sharing = {});

   /// The directory `name` in this one, made with mode 0700 if asked for. If the domain is shared and the directory is
   /// closed to all others, gives it to the group, with mode 0750.
   ///
   /// @return nothing when it is not there; with `Missing::create` when this directory has just been removed
   /// @throws Refusal  when it cannot be made or opened, is a link, does not deserve the trust, or is another group's
   std::optional<Directory> child(std::string const& name, Trust trust, Missing missing) const;

   /// Opens the file `name` with O_NOFOLLOW, O_CLOEXEC and mode 0600; not open when that failed, with errno set.
   FileDescriptor file(std::string const& name, int flags) const;

   /// If the domain is shared, gives a file of this directory to the group, with mode 0640.
   /// @throws Refusal
   void letGroupRead(FileDescriptor const& file, std::string const& name) const;

   /// The names in it, without "." and "..".
   std::vector<std::string> entries() const;

   std::string const& path() const { return path_; }

   Sharing const& sharing() const { return sharing_; }

   int number() const { return descriptor_.number(); }

private:
   Directory(FileDescriptor descriptor, std::string path, Trust trust, Sharing const& sharing);

   void check(Trust trust) const;
   void shareWithGroup() const;
   void giveToGroup(int number, mode_t mode, std::string const& what) const;
   bool isRemoved() const;

   FileDescriptor descriptor_;
   std::string path_;
   Sharing sharing_;
};

} // namespace pinmem_lib
