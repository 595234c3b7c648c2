#pragma once

#include <Kro/Entity.h>
#include <Kro/HashMap.h>

#include <cstdint>

namespace Observatory {

/// The process's one journal: a singleton that publishes every change of its lines.
class Journal final : public Kro::Entity {
   struct HN_Line {};

public:
   explicit Journal(Orvo::String const& name) : Entity(name) {}

   ~Journal() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   /// @return the journal, made by the call when there is none; its callers keep it
   static Orvo::Ptr<Journal> instance();

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   void lineIs(Orvo::String const& text, std::uint32_t number);
   void lineDel(Orvo::String const& text);

   void handleLine(Orvo::String const& /*text*/) { ++changes_; }

   static Kro::KroType const kroType;

private:
   struct Declaration;
   static constexpr std::int16_t lineNumber = 258;

   void publishLine(Orvo::String const& text);

   Kro::HashMap<HN_Line, Orvo::String, std::uint32_t> line_;
   std::uint32_t changes_ = 0;
};

} // namespace Observatory
