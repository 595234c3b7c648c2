#include <Quorvel/Core/Loader.h>

namespace Quorvel::Core::Loader {

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

Orvo::Ptr<Kro::Entity> Pimpl::instantiate(Orvo::String const& name)
{
   return Kro::Entity::singleton(name);
}

} // namespace Quorvel::Core::Loader
