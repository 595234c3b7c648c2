#include <Kro/Entity.h>
#include <Kro/Table.h>

class Sample : public Kro::Entity {
public:
   Sample(Orvo::String const& name, std::uint32_t a) : Entity(name), a_(a) {}

   ~Sample() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   // A pointer to a base.
   static Orvo::Ptr<Kro::Entity> make(std::uint32_t a) { return Orvo::make<Sample>("sample", a); }

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
