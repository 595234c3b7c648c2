// What the refused constructors and readers differ from in one thing.
#include <Kro/Entity.h>
#include <Kro/Table.h>

struct Value {
   Value() = default;

   explicit Value(std::uint32_t first) : a(first) {}

   explicit Value(Kro::CharRange& text);

   std::uint32_t a = 0;
   std::uint32_t b = 0;

   static Kro::KroType const kroType;
   struct Declaration;
};

struct Value::Declaration {
   static constexpr auto table =
      Kro::table<Value>(Kro::value<2, &Value::a>("a", Kro::ctorArg), Kro::value<3, &Value::b>("b"));
};

constinit Kro::KroType const Value::kroType = Kro::valueType<Value, Value::Declaration>("Value", nullptr);

Value::Value(Kro::CharRange& text)
{
   Kro::readByTable<Value, Declaration>(text, *this);
}

class Sample : public Kro::Entity {
public:
   Sample(Orvo::String const& name, std::uint32_t a) : Entity(name), a_(a) {}

   ~Sample() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static Orvo::Ptr<Sample> make(std::uint32_t a) { return Orvo::make<Sample>("sample", a); }

   static Kro::KroType const kroType;
   struct Declaration;

private:
   std::uint32_t a_;
};

struct Sample::Declaration {
   static constexpr auto table = Kro::table<Sample, Kro::Entity>(Kro::value<258, &Sample::a_>("a"));
};

constinit Kro::KroType const Sample::kroType =
   Kro::entityType<Sample, Sample::Declaration, Kro::constructorFunction<&Sample::make>>("Sample", nullptr);
