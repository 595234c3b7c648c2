#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <stdlib.h>
#include <string>
#include <system_error>
#include <unistd.h>

namespace pinmem_test {

/// A folder of its own for one test, in memory where that is possible; removed with everything in it.
class TemporaryDirectory {
public:
   TemporaryDirectory()
   {
      char const* const usual = std::getenv("TMPDIR");
      std::string const base = ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : usual != nullptr ? usual : "/tmp";
      path_ = base + "/pinmem-test-XXXXXX";
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

   std::string operator/(std::string const& name) const { return path_ + "/" + name; }

private:
   std::string path_;
};

} // namespace pinmem_test
