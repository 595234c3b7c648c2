#pragma once

#include <compare>
#include <concepts>
#include <cstddef>
#include <functional>
#include <utility>

namespace Orvo {

/// A pointer to U is a pointer to T as well: T is a base of U, or adds const.
template <class U, class T>
concept PointsAlsoTo = std::convertible_to<U*, T*>;

/// Pointer that keeps a reference to what it points to, or is null. The object counts its references itself: it has
/// `referenceTake() const` and `referenceDrop() const`, like every `Node`. One word; usable in constant-initialised
/// statics.
///
/// Threads: different pointers to one object may be used on different threads; one pointer is not for two threads.
/// Cost:    a copy is one increment, and no atomic instruction while the process has one thread.
template <class T>
class Ptr {
public:
   using element_type = T;

   constexpr Ptr() noexcept = default;

   constexpr Ptr(std::nullptr_t) noexcept {}

   /// Takes a further reference to the object; null gives a null pointer.
   Ptr(T* object) noexcept : object_(object) { take(); }

   /// Takes over the reference that the caller holds, for instance that of a new object.
   static Ptr adopt(T* object) noexcept
   {
      Ptr result;
      result.object_ = object;
      return result;
   }

   Ptr(Ptr const& other) noexcept : object_(other.object_) { take(); }

   Ptr(Ptr&& other) noexcept : object_(other.release()) {}

   /// From a pointer to a derived or less constant type.
   template <PointsAlsoTo<T> U>
   Ptr(Ptr<U> const& other) noexcept : object_(other.get())
   {
      take();
   }

   template <PointsAlsoTo<T> U>
   Ptr(Ptr<U>&& other) noexcept : object_(other.release())
   {}

   constexpr ~Ptr() { reset(); }

   Ptr& operator=(Ptr const& other)
   {
      Ptr(other).swap(*this);
      return *this;
   }

   Ptr& operator=(Ptr&& other) noexcept
   {
      Ptr(std::move(other)).swap(*this);
      return *this;
   }

   /// Becomes null, then drops the reference: what the object's destructor sees here is null.
   constexpr void reset()
   {
      if (T* const object = release()) {
         object->referenceDrop();
      }
   }

   /// Becomes null and hands its reference over to the caller.
   [[nodiscard]] constexpr T* release() noexcept { return std::exchange(object_, nullptr); }

   void swap(Ptr& other) noexcept { std::swap(object_, other.object_); }

   friend void swap(Ptr& left, Ptr& right) noexcept { left.swap(right); }

   /// Borrowed: valid while a reference is kept.
   constexpr T* get() const noexcept { return object_; }

   constexpr T& operator*() const noexcept { return *object_; }

   constexpr T* operator->() const noexcept { return object_; }

   explicit constexpr operator bool() const noexcept { return object_ != nullptr; }

private:
   void take() const noexcept
   {
      if (object_) {
         object_->referenceTake();
      }
   }

   T* object_ = nullptr;
};

template <class T, class U>
constexpr bool operator==(Ptr<T> const& left, Ptr<U> const& right) noexcept
{
   return left.get() == right.get();
}

template <class T, class U>
constexpr bool operator==(Ptr<T> const& left, U* right) noexcept
{
   return left.get() == right;
}

template <class T>
constexpr bool operator==(Ptr<T> const& left, std::nullptr_t) noexcept
{
   return left.get() == nullptr;
}

/// Order of the addresses.
template <class T, class U>
constexpr std::strong_ordering operator<=>(Ptr<T> const& left, Ptr<U> const& right) noexcept
{
   return std::compare_three_way()(left.get(), right.get());
}

template <class T, class U>
constexpr std::strong_ordering operator<=>(Ptr<T> const& left, U* right) noexcept
{
   return std::compare_three_way()(left.get(), right);
}

template <class T>
constexpr std::strong_ordering operator<=>(Ptr<T> const& left, std::nullptr_t) noexcept
{
   return std::compare_three_way()(left.get(), static_cast<T*>(nullptr));
}

/// A new T, made from the arguments and owned by the result alone.
template <class T, class... Arguments>
[[nodiscard]] Ptr<T> make(Arguments&&... arguments)
{
   return Ptr<T>::adopt(new T(std::forward<Arguments>(arguments)...));
}

/// The same object as a T, with a further reference; null when it is none.
template <class T, class U>
[[nodiscard]] Ptr<T> dynamicCast(Ptr<U> const& pointer)
{
   return Ptr<T>(dynamic_cast<T*>(pointer.get()));
}

} // namespace Orvo

template <class T>
struct std::hash<Orvo::Ptr<T>> {
   std::size_t operator()(Orvo::Ptr<T> const& pointer) const noexcept { return std::hash<T*>()(pointer.get()); }
};
