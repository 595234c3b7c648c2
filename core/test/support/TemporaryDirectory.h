#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

#include <stdlib.h>

namespace Quorvel::Core::Test {

/// A folder of its own in shared memory for one test, removed with all that is in it.
class TemporaryDirectory {
public:
   TemporaryDirectory()
   {
      if (::mkdtemp(path_.data()) == nullptr) {
         throw std::runtime_error("cannot make " + path_);
      }
   }

   TemporaryDirectory(TemporaryDirectory const&) = delete;
   TemporaryDirectory& operator=(TemporaryDirectory const&) = delete;

   ~TemporaryDirectory()
   {
      std::error_code ignored;
      std::filesystem::remove_all(path_, ignored);
   }

   std::string const& path() const { return path_; }

private:
   std::string path_ = "/dev/shm/core-test-XXXXXX";
};

} // namespace Quorvel::Core::Test
