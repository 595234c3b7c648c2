#include "BenchMount.h"

#include <Kro/Table.h>

#include <array>
#include <cstddef>

namespace Quorvel::Core::Bench {
namespace {

extern Kro::KroModule module;

struct Page {
   std::array<std::byte, chunkSize> bytes;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct Page::Declaration {
   static constexpr auto table = Kro::table<Page>(Kro::field<2, &Page::bytes>("bytes"));
};

constinit Kro::KroType const Page::kroType = Kro::entryType<Page, Page::Declaration>("BenchPage", &module);

} // namespace

struct BenchMount::Declaration {
   static constexpr auto table = Kro::table<BenchMount, Kro::Entity>(
      Kro::entries<1, Page>("buffer"), Kro::value<301, &BenchMount::buffer>("bufferControl", Kro::readOnly));
};

constinit Kro::KroType const BenchMount::kroType =
   Kro::entityType<BenchMount, BenchMount::Declaration>("BenchMount", &module);

BenchMount::BenchMount(Orvo::String const& name)
   : Entity(name), buffer(Orvo::make<Memory::Control::Collection>(nullptr))
{
   buffer->attributesIs(Page::kroType);
   buffer->synchronizerIs([](std::uint32_t /*index*/) {});
}

BenchMount::~BenchMount()
{
   nodeFlagSet(flagDeleteOnLastUser, false);
}

namespace {

constexpr Kro::KroType const* types[] = {&Page::kroType, &BenchMount::kroType};
constinit Kro::KroModule module{"BenchMount", "core/bench/Memory/Entity/BenchMount", types, {}};

[[maybe_unused]] bool const isRegistered = [] {
   Kro::kroModuleIs(module);
   return true;
}();

} // namespace

Memory::Info::Mount describeMount(Orvo::String const& path, std::vector<std::string> const& chunkNames)
{
   Memory::Info::Collection collection("buffer");
   collection.addNameAttribute("bytes");
   std::uint32_t id = 0;
   for (auto const& name : chunkNames) {
      collection.addGroup(id, 1);
      collection.createChunk(id, "bytes", name, chunkSize, false);
      ++id;
   }
   Memory::Info::Mount mount(path, "BenchMount");
   mount.collectionIs(collection);
   return mount;
}

std::vector<std::string> chunkNames(std::string const& prefix, std::int64_t count)
{
   std::vector<std::string> names;
   for (std::int64_t i = 0; i < count; ++i) {
      names.push_back("controller0.buffer." + prefix + "." + std::to_string(i));
   }
   return names;
}

} // namespace Quorvel::Core::Bench
