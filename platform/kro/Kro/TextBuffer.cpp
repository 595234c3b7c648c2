#include <Kro/TextBuffer.h>

#include <algorithm>

namespace Kro {

void TextBuffer::grow(std::size_t count)
{
   auto const used = size();
   auto const capacity = std::max(2 * static_cast<std::size_t>(end_ - begin_), used + count);
   auto* const grown = new char[capacity];
   std::memcpy(grown, begin_, used);
   if (begin_ != room_) {
      delete[] begin_;
   }
   begin_ = grown;
   at_ = grown + used;
   end_ = grown + capacity;
}

} // namespace Kro
