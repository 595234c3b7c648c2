// Describes the rings of a network card, prints the table, and is told of two mistakes. No device, no memory.

#include <Quorvel/Core/Memory/Info/Collection.h>

#include <cstdio>
#include <stdexcept>

namespace Info = Quorvel::Core::Memory::Info;

namespace {

Info::Collection describe()
{
   Info::Collection receive("receive");
   receive.addNameAttribute("descriptor"); // 16 bytes of each entry, read by the device
   receive.addNameAttribute("packet");     // 2048 bytes, written by it
   receive.addGroup(0, 4);                 // entries 0 to 3
   receive.addGroup(1, 2);                 // entries 4 and 5, right behind
   receive.addGroup(2, 4, 8);              // entries 8 to 11: a gap
   for (auto const& group : receive.group()) {
      auto const id = group.id();
      receive.createChunk(id, "descriptor", Orvo::join("eth0.descriptor.", id), group.size() * 16, false);
      receive.createChunk(id, "packet", Orvo::join("eth0.packet.", id), group.size() * 2048, false);
   }
   return receive;
}

void print(Info::Collection const& collection)
{
   std::printf("%s\n", collection.name().c_str());
   for (auto const& group : collection.group()) {
      std::printf("  group %u: entries %u to %u\n", group.id(), group.head(), group.head() + group.size() - 1);
      for (auto const* field : {"descriptor", "packet"}) {
         auto const chunk = group.chunk(field);
         std::printf("    %-10s  %-17s  %5u bytes\n", field, chunk.name().c_str(), chunk.size());
      }
   }
}

} // namespace

int main()
{
   auto receive = describe();
   print(receive);

   try {
      receive.addGroup(3, 4, 10);
   } catch (std::invalid_argument const& refusal) {
      std::printf("\nrefused: %s\n", refusal.what());
   }
   try {
      receive.createChunk(2, "checksum", "eth0.checksum.2", 16, false);
   } catch (std::invalid_argument const& refusal) {
      std::printf("refused: %s\n", refusal.what());
   }
   std::printf("the description is %s\n", receive == describe() ? "as it was" : "another one");
}
