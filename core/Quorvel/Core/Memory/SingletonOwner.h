#pragma once

#include <Kro/Entity.h>
#include <Kro/KroModule.h>
#include <Orvo/Ptr.h>
#include <Orvo/String.h>

namespace Quorvel::Core::Memory {

/// Keeps a singleton of the framework from the moment this object is made, in a function's static object, to the exit of
/// the process; the framework itself keeps no reference.
///
///     Orvo::Ptr<StoreChunk> StoreChunk::instance()
///     {
///        static SingletonOwner<StoreChunk> const owner(module, storeName);
///        return SingletonOwner<StoreChunk>::living();
///     }
///
/// One for each type. Threads: like any static object of a function, made once, whoever comes first.
template <class Singleton>
class SingletonOwner {
public:
   /// Finds the singleton of that name, or makes it; keeps null when neither can be done.
   SingletonOwner(Kro::KroModule const& module, Orvo::String const& name)
      : singleton_(Orvo::dynamicCast<Singleton>(Kro::Entity::singletonExists(name)))
   {
      if (singleton_ == nullptr) {
         singleton_ = Orvo::dynamicCast<Singleton>(Kro::Entity::singletonIs(module, 1, name));
      }
      living_ = singleton_.get();
   }

   ~SingletonOwner() { living_ = nullptr; }

   SingletonOwner(SingletonOwner const&) = delete;
   SingletonOwner& operator=(SingletonOwner const&) = delete;

   /// @return the singleton; null before it is made, while it is being destroyed at the end of the process, and after
   static Orvo::Ptr<Singleton> living() noexcept { return living_; }

private:
   // Never a destroyed pointer: cleared before the reference is let go.
   static inline constinit Singleton* living_ = nullptr;

   Orvo::Ptr<Singleton> singleton_;
};

} // namespace Quorvel::Core::Memory
