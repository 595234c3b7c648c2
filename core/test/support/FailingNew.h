#pragma once

#include <cstddef>

namespace Quorvel::Core::Test {

/// While one lives, some of the process's calls of `operator new` throw std::bad_alloc. The program that links it has
/// `operator new` replaced; what comes from slabs or the C library is not touched.
class FailingNew {
public:
   /// @param first  how many calls succeed before the first that throws
   /// @param count  how many throw then, one after the other
   FailingNew(std::size_t first, std::size_t count) noexcept;
   ~FailingNew();

   FailingNew(FailingNew const&) = delete;
   FailingNew& operator=(FailingNew const&) = delete;

   /// @return how many have thrown since the last one began
   static std::size_t failures() noexcept;
};

} // namespace Quorvel::Core::Test
