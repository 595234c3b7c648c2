#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

#include <stdlib.h>

// Gives the benchmarks that link it a domain of the real pinned-memory library for themselves, which goes with the program.

namespace {

class TemporaryDomain {
public:
   TemporaryDomain()
   {
      if (::mkdtemp(path_.data()) == nullptr) {
         throw std::runtime_error("cannot make " + path_);
      }
      ::setenv("PINMEM_DIR", path_.c_str(), 1);
      ::setenv("PINMEM_DOMAIN", "bench", 1);
      ::setenv("PINMEM_BACKEND", "shm", 1);
   }

   TemporaryDomain(TemporaryDomain const&) = delete;
   TemporaryDomain& operator=(TemporaryDomain const&) = delete;

   ~TemporaryDomain()
   {
      std::error_code ignored;
      std::filesystem::remove_all(path_, ignored);
   }

private:
   std::string path_ = "/dev/shm/core-bench-XXXXXX";
};

TemporaryDomain const temporaryDomain;

} // namespace
