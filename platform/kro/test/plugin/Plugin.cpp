// A client's plugin: a module, a value type and an entity type of its own. Two compilers build it, under two names.
#include <Kro/Dir.h>
#include <Kro/Exception.h>
#include <Kro/KroModule.h>
#include <Kro/Table.h>

#include <cstdint>

extern __attribute__((visibility("default"))) Kro::KroModule pluginModule;

namespace {

class Packet {
public:
   static Kro::KroType const kroType;
   struct Declaration;

private:
   Orvo::String text_ = "from " PLUGIN_NAME;
   std::uint32_t size_ = 7;
   bool isLast_ = true;
};

struct Packet::Declaration {
   // clang-format off: a row for each attribute
   static constexpr auto table = Kro::table<Packet>(
      Kro::value<2, &Packet::text_>("text"), Kro::value<3, &Packet::size_>("size"),
      Kro::value<4, &Packet::isLast_>("isLast"));
   // clang-format on
};

constinit Kro::KroType const Packet::kroType =
   Kro::valueType<Packet, Packet::Declaration>(PLUGIN_NAME "::Packet", &pluginModule);

class Link : public Kro::Dir {
public:
   explicit Link(Orvo::String const& name) : Dir(name) {}

   ~Link() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   void fail(Orvo::String const& text) { throw Kro::RangeException(text); }

   static Kro::KroType const kroType;
   struct Declaration;

private:
   std::uint32_t speed_ = 100;
   Packet packet_;
};

struct Link::Declaration {
   // clang-format off: a row for each attribute
   static constexpr auto table = Kro::table<Link, Kro::Dir>(
      Kro::value<300, &Link::speed_>("speed"), Kro::value<301, &Link::packet_>("packet"),
      Kro::operation<302, &Link::fail>("fail"));
   // clang-format on
};

constinit Kro::KroType const Link::kroType =
   Kro::entityType<Link, Link::Declaration>(PLUGIN_NAME "::Link", &pluginModule);

constexpr Kro::KroType const* types[] = {&Packet::kroType, &Link::kroType};
constexpr Kro::KroType const* otherTypes[] = {&Kro::Dir::kroType};

} // namespace

constinit Kro::KroModule pluginModule{PLUGIN_NAME, "Plugin", types, otherTypes};

namespace {

[[maybe_unused]] bool const isRegistered = (Kro::kroModuleIs(pluginModule), true);

} // namespace
