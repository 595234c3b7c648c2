#include "src/Node.h"
#include "src/Refusal.h"
#include "src/SystemCalls.h"
#include <cerrno>
#include <charconv>
#include <sys/mman.h>

namespace pinmem_lib {

std::optional<NodeWish> NodeWish::parse(std::string const& text)
{
   NodeWish wish;
   char const* const end = text.data() + text.size();
   auto const [rest, error] = std::from_chars(text.data(), end, wish.node);
   wish.isStrict = rest != end;
   if (error != std::errc() || wish.node < 0 || (wish.isStrict && std::string(rest, end) != "!")) {
      return std::nullopt;
   }
   return wish;
}

void bindFile(FileDescriptor const& file, std::uint64_t size, NodeWish const& wish)
{
   if (wish.node < 0) {
      return;
   }
   if (systemCalls.ftruncate(file.number(), static_cast<off_t>(size)) != 0) {
      refuse("a file for memory on node ", wish.node, " cannot be sized: ", systemText(errno));
   }
   constexpr int flags = MAP_SHARED | MAP_NORESERVE;
   void* const address = systemCalls.mmap(nullptr, size, PROT_READ | PROT_WRITE, flags, file.number(), 0);
   if (address == MAP_FAILED) {
      refuseMapping(size, errno);
   }
   bool const isBound = systemCalls.bindToNode(address, size, wish.node, wish.isStrict) == 0;
   int const error = errno;
   systemCalls.munmap(address, size);
   if (!isBound) {
      refuse(
         "memory cannot be bound to node ", wish.node, ": ", systemText(error),
         "; set PINMEM_NODE to a node that /sys/devices/system/node/has_memory names, or unset it");
   }
}

void checkNode(void* address, std::uint64_t size, std::uint64_t pageSize, NodeWish const& wish)
{
   if (wish.node < 0 || !wish.isStrict) {
      return;
   }
   for (std::uint64_t offset = 0; offset < size; offset += pageSize) {
      char* const page = static_cast<char*>(address) + offset;
      [[maybe_unused]] char const touched = *static_cast<char volatile*>(page);
      if (int const node = systemCalls.nodeOf(page); node != wish.node) {
         refuse(
            "PINMEM_NODE=", wish.node, "! is set, but memory came from node ", node,
            "; free memory there, or leave out "
            "the '!'");
      }
   }
}

} // namespace pinmem_lib
