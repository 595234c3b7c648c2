#include "src/LastError.h"
#include <algorithm>
#include <cstddef>
#include <cstring>

namespace pinmem_lib {

namespace {

constexpr std::size_t capacity = 2048;
constinit thread_local char buffer[capacity] = {};

} // namespace

void lastErrorIs(std::string_view text) noexcept
{
   std::size_t const length = std::min(text.size(), capacity - 1);
   std::memcpy(buffer, text.data(), length);
   buffer[length] = '\0';
   if (length < text.size()) {
      std::memcpy(buffer + length - 3, "...", 3);
   }
}

char const* lastError() noexcept
{
   return buffer;
}

} // namespace pinmem_lib
