#include <Orvo/String.h>

#include <TolSlab/Slab.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <ostream>
#include <stdexcept>

namespace Orvo {

void String::refuseNull()
{
   throw std::logic_error("Orvo::String: the text is a null pointer.");
}

char* String::makeUnfilledBlock(std::size_t size)
{
   if (size > largestSize) {
      throw std::length_error("Orvo::String: the text is too long.");
   }
   auto* const made = new (TolSlab::slabAllocOrStdMalloc(sizeof(Block) + size + 1)) Block;
   words_ = {reinterpret_cast<std::uintptr_t>(made), size | sharedTag};
   made->characters()[size] = '\0';
   return made->characters();
}

void String::makeBlock(char const* characters, std::size_t size)
{
   auto* const target = makeUnfilledBlock(size);
   std::memcpy(target, characters, size);
   block()->hash = Detail::longTextHash(target, size);
}

void String::freeBlock() noexcept
{
   auto const blockSize = sizeof(Block) + size() + 1;
   block()->~Block();
   TolSlab::slabFreeOrStdFree(block(), blockSize);
}

String String::joined(std::initializer_list<std::string_view> parts)
{
   std::size_t size = 0;
   for (auto const part : parts) {
      size += part.size();
   }
   auto const copyParts = [&](char* target) {
      for (auto const part : parts) {
         target = std::copy(part.begin(), part.end(), target);
      }
   };
   if (size <= largestInPlace) {
      char text[largestInPlace];
      copyParts(text);
      return String(text, size);
   }
   String result;
   auto* const target = result.makeUnfilledBlock(size);
   copyParts(target);
   result.block()->hash = Detail::longTextHash(target, size);
   return result;
}

std::ostream& operator<<(std::ostream& stream, String const& text)
{
   return stream << text.view();
}

} // namespace Orvo
