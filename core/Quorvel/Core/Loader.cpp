#include <Quorvel/Core/Loader.h>

#include <Plugin/Impl/LoaderImpl.h>
#include <Quorvel/Utility/Raise.h>

#include <stdexcept>
#include <string>
#include <unordered_set>
#include <utility>

namespace Quorvel::Core::Loader {
namespace {

using Keys = std::unordered_set<std::string>;

/// The keys of the families that are loaded. Never a destroyed set: the owner below clears it before it lets go.
constinit Keys* theKeys = nullptr;

/// Keeps the keys from the first `load` to the exit of the process.
class KeysOwner {
public:
   KeysOwner() { theKeys = &keys_; }

   ~KeysOwner() { theKeys = nullptr; }

   KeysOwner(KeysOwner const&) = delete;
   KeysOwner& operator=(KeysOwner const&) = delete;

private:
   Keys keys_;
};

std::string joined(Orvo::String const& prefixPath, Orvo::String const& suffixPath)
{
   std::string key;
   key.reserve(prefixPath.size() + suffixPath.size());
   key.append(prefixPath.view());
   key.append(suffixPath.view());
   return key;
}

} // namespace

constinit Kro::AllocTrackTypeInfo Singleton::memAllocationTracker_{
   sizeof(Singleton), "Quorvel::Core::Loader::Singleton"};

Singleton::Singleton(Orvo::String const& name) : Entity(name) {}

Singleton::~Singleton()
{
   nodeFlagSet(flagDeleteOnLastUser, false);
}

Orvo::String Singleton::suffixPath() const
{
   return {};
}

void Singleton::load(
   Orvo::String const& prefixPath, Orvo::String const& suffixPath, Plugin::Loader<void>* loader) noexcept
{
   static KeysOwner const owner;
   if (theKeys == nullptr) {
      return;
   }
   auto key = joined(prefixPath, suffixPath);
   if (theKeys->contains(key)) {
      return;
   }
   auto const family = Orvo::join(prefixPath, "Plugin", suffixPath.empty() ? "" : "/", suffixPath);
   if (loader == nullptr) {
      Utility::raise(
         std::invalid_argument(std::string(Orvo::join("family='", family, "' is loaded through no loader."))));
   }
   loader->state = 0;
   loader->message = {};
   Plugin::Impl::LoaderImpl::loadPlugins(loader->searchPath, family, {}, {}, {});
   loader->message = {};
   theKeys->insert(std::move(key)); // only now: an initialiser of a plugin may have asked for the same family
}

Orvo::Ptr<Kro::Entity> Pimpl::instantiate(Orvo::String const& name)
{
   return Kro::Entity::singleton(name);
}

} // namespace Quorvel::Core::Loader
