#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace Quorvel::Core::Test {

/// What the words of the domain's memory must hold, in a file that outlives the process like these.
class Ledger {
public:
   static constexpr unsigned families = 5;
   static constexpr unsigned entries = 8;

   /// A word holds one of the two: they differ while it is written, and after the process died at that.
   struct Word {
      std::uint32_t before;
      std::uint32_t after;
   };

   explicit Ledger(std::string const& path)
   {
      int const file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
      auto* const memory = file >= 0 && ::ftruncate(file, size) == 0
                              ? ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0)
                              : MAP_FAILED;
      ::close(file);
      if (memory == MAP_FAILED) {
         throw std::runtime_error("cannot map " + path);
      }
      words_ = static_cast<Word*>(memory);
   }

   Ledger(Ledger const&) = delete;
   Ledger& operator=(Ledger const&) = delete;

   ~Ledger() { ::munmap(words_, size); }

   Word& word(unsigned family, unsigned entry) { return words_[family * entries + entry]; }

private:
   static constexpr std::size_t size = families * entries * sizeof(Word);

   Word* words_;
};

} // namespace Quorvel::Core::Test
