#include <Kro/KroModule.h>

#include <Kro/Exception.h>

#include <Orvo/String.h>

#include <algorithm>
#include <limits>

namespace Kro {
namespace {

// Constant-initialised: modules register from static initialisers, in any order of libraries.
constinit KroModule* modules = nullptr;
constinit std::uint32_t nextIndex = 0;

[[noreturn]] void refuse(KroModule const& module, Orvo::String const& reason)
{
   throw ModuleException(Orvo::join("module '", module.name, "' cannot be registered: ", reason));
}

/// Names of one namespace differ at their ends.
bool isSame(std::string_view a, std::string_view b) noexcept
{
   return a.size() == b.size() && (a.empty() || (a.back() == b.back() && a == b));
}

KroType const* find(std::span<KroType const* const> types, std::string_view name) noexcept
{
   for (auto const* type : types) {
      if (isSame(type->name, name)) {
         return type;
      }
   }
   return nullptr;
}

KroType const* findRegistered(std::string_view name) noexcept
{
   for (auto const* module = modules; module != nullptr; module = module->next) {
      if (auto const* found = find(module->types, name)) {
         return found;
      }
   }
   return nullptr;
}

void checkType(KroModule const& module, std::size_t position)
{
   auto const& type = *module.types[position];
   if (type.module != &module) {
      refuse(module, Orvo::join("the record of its type '", type.name, "' names another module"));
   }
   if (auto const* known = findRegistered(type.name)) {
      refuse(module, Orvo::join("type '", type.name, "' is registered already by module '", known->module->name, "'"));
   }
   auto const earlier = module.types.first(position);
   if (find(earlier, type.name) != nullptr) {
      refuse(module, Orvo::join("it holds two types named '", type.name, "'"));
   }
   bool const isBaseKnown = type.base == nullptr || (type.base->module != nullptr && type.base->module->isRegistered) ||
                            std::find(earlier.begin(), earlier.end(), type.base) != earlier.end();
   if (!isBaseKnown) {
      refuse(
         module, Orvo::join(
                    "the base '", type.base->name, "' of its type '", type.name,
                    "' is neither registered nor earlier in this module"));
   }
}

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
   for (std::size_t i = 0; i < module.types.size(); ++i) {
      checkType(module, i);
   }
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
   return findRegistered(name);
}

KroType const& typeNode(std::string_view name)
{
   if (auto const* type = findRegistered(name)) {
      return *type;
   }
   throw TypeNotFoundException(Orvo::join("no registered type is named '", name, "'"));
}

} // namespace Kro
