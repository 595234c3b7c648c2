#include <Kro/KroModule.h>

#include <Kro/Exception.h>

#include <Orvo/String.h>

#include <array>
#include <cstddef>
#include <limits>
#include <utility>

namespace Kro {
namespace {

// Constant-initialised: modules register from static initialisers, in any order of libraries.
constinit KroModule* modules = nullptr;
constinit std::uint32_t nextIndex = 0;

[[noreturn]] void refuse(KroModule const& module, Orvo::String const& reason)
{
   throw ModuleException(Orvo::join("module '", module.name, "' cannot be registered: ", reason));
}

// By the hashes of their names. The records link themselves, so that registering allocates nothing.
constinit std::array<KroType const*, 512> buckets{};

KroType const*& bucketOf(std::uint32_t hash) noexcept
{
   return buckets[hash % buckets.size()];
}

KroType const* find(std::string_view name, std::uint32_t hash) noexcept
{
   auto const* type = bucketOf(hash);
   while (type != nullptr && (type->nameHash != hash || type->name != name)) {
      type = type->nextInBucket;
   }
   return type;
}

/// The first types of a module, among the registered ones until it turns out that another one cannot be.
class Entry {
public:
   explicit Entry(KroModule const& module) : module_(module) {}

   ~Entry()
   {
      if (!isKept_) {
         // Back to front: each is the first of its bucket then.
         for (; count_ > 0; --count_) {
            auto const* type = module_.types[count_ - 1];
            bucketOf(type->nameHash) = std::exchange(type->nextInBucket, nullptr);
         }
      }
   }

   Entry(Entry const&) = delete;
   Entry& operator=(Entry const&) = delete;

   void keep() noexcept { isKept_ = true; }

   void add(KroType const& type)
   {
      check(type);
      type.nextInBucket = std::exchange(bucketOf(type.nameHash), &type);
      ++count_;
   }

private:
   void check(KroType const& type) const
   {
      if (type.module != &module_) {
         refuse(module_, Orvo::join("the record of its type '", type.name, "' names another module"));
      }
      if (auto const* known = find(type.name, type.nameHash)) {
         refuse(
            module_,
            known->module == &module_
               ? Orvo::join("it holds two types named '", type.name, "'")
               : Orvo::join("type '", type.name, "' is registered already by module '", known->module->name, "'"));
      }
      if (type.base != nullptr && !isKnown(*static_cast<KroType const*>(type.base))) {
         refuse(
            module_, Orvo::join(
                        "the base '", type.base->name, "' of its type '", type.name,
                        "' is neither registered nor earlier in this module"));
      }
   }

   bool isKnown(KroType const& base) const noexcept
   {
      return base.module == &module_ ? find(base.name, base.nameHash) == &base
                                     : base.module != nullptr && base.module->isRegistered;
   }

   KroModule const& module_;
   std::size_t count_ = 0;
   bool isKept_ = false;
};

} // namespace

void kroModuleIs(KroModule& module)
{
   if (module.isRegistered) {
      return;
   }
   if (findModule(module.name) != nullptr) {
      refuse(module, "another module of that name is registered already");
   }
   if (nextIndex + module.types.size() > std::numeric_limits<std::uint16_t>::max() + std::size_t{1}) {
      refuse(module, "the process has no type index left");
   }
   Entry entry(module);
   for (auto const* type : module.types) {
      entry.add(*type);
   }
   entry.keep();
   module.firstIndex = static_cast<std::uint16_t>(nextIndex);
   nextIndex += static_cast<std::uint32_t>(module.types.size());
   module.isRegistered = true;
   module.next = modules;
   modules = &module;
}

KroModule const* firstModule() noexcept
{
   return modules;
}

KroModule const* findModule(std::string_view name) noexcept
{
   auto const* module = modules;
   while (module != nullptr && module->name != name) {
      module = module->next;
   }
   return module;
}

KroType const* findType(std::string_view name) noexcept
{
   return find(name, Detail::hashOfName(name));
}

KroType const& typeNode(std::string_view name)
{
   if (auto const* type = findType(name)) {
      return *type;
   }
   throw TypeNotFoundException(Orvo::join("no registered type is named '", name, "'"));
}

} // namespace Kro
