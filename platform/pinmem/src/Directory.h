#pragma once

#include "src/FileDescriptor.h"
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
      hidden   ///< this user's; nobody else may read or write
   };

   enum class Missing { create, leave };

   /// @throws Refusal  when it is not there, is a link (unless `shared`), or does not deserve the trust
   static Directory open(std::string const& path, Trust trust);

   /// The directory `name` in this one, made with mode 0700 if asked for.
   ///
   /// @return nothing when it is not there; with `Missing::create` when this directory has just been removed
   /// @throws Refusal  when it cannot be made or opened, is a link, or does not deserve the trust
   std::optional<Directory> child(std::string const& name, Trust trust, Missing missing) const;

   /// Opens the file `name` with O_NOFOLLOW, O_CLOEXEC and mode 0600; not open when that failed, with errno set.
   FileDescriptor file(std::string const& name, int flags) const;

   /// The names in it, without "." and "..".
   std::vector<std::string> entries() const;

   std::string const& path() const { return path_; }

   int number() const { return descriptor_.number(); }

private:
   Directory(FileDescriptor descriptor, std::string path, Trust trust);

   bool isRemoved() const;

   FileDescriptor descriptor_;
   std::string path_;
};

} // namespace pinmem_lib
