#include "boundary/observatory/Instrument.h"

#include "boundary/observatory/Module.h"

#include <Kro/Table.h>

#include <stdexcept>

namespace Observatory {

constinit Kro::AllocTrackTypeInfo Lens::memAllocationTracker_{sizeof(Lens), "Observatory::Lens"};

struct Lens::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Lens>(
      Kro::value<-2, &Lens::key>("id", Kro::ctorArg),
      Kro::value<130, &Lens::focus_>("focus", Kro::ctorArg));
   // clang-format on
};

constinit Kro::KroType const Lens::kroType = Kro::entityType<Lens, Lens::Declaration>("Observatory::Lens", &module);

Instrument::Instrument(Orvo::String const& name) : Entity(name)
{
   if (name == "broken") {
      throw std::runtime_error("the instrument is broken");
   }
   ++living_;
}

Instrument::~Instrument()
{
   nodeFlagSet(flagDeleteOnLastUser, false);
   --living_;
}

Orvo::Ptr<Lens> Instrument::lensIs(std::uint32_t id, std::int64_t focus)
{
   if (lens_.find(id) != nullptr) {
      Kro::throwMutatorReinstantiating(module, "lens", id, id, Orvo::join("'", name(), "'"));
   }
   auto lens = Orvo::make<Lens>(id, focus);
   lens_.insert(lens);
   handleLens(id);
   return lens;
}

void Instrument::weightIs(Kro::Entity* entity, std::uint32_t weight)
{
   if (entity == nullptr) {
      Kro::throwMutatorArgNullPointerException(module, "weight");
   }
   weight_.is(entity, weight);
}

std::uint32_t Instrument::total() const
{
   std::uint32_t total = 0;
   for (auto const& weight : weight_) {
      total += weight;
   }
   return total;
}

struct Instrument::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Instrument, Kro::Entity>(
      Kro::value<258, &Instrument::exposure_>("exposure"),
      Kro::value<259, &Instrument::label>("label"),
      Kro::value<260, &Instrument::partner_>("partner"),
      Kro::value<261, &Instrument::mentor_>("mentor"),
      Kro::value<262, &Instrument::itself>("itself"),
      Kro::value<263, &Instrument::last_>("last"),
      Kro::collection<264, &Instrument::lens_, Kro::is<&Instrument::lensIs>, Kro::del<&Instrument::lensDel>,
         Kro::delAll<&Instrument::lensDelAll>>("lens"),
      Kro::collection<265, &Instrument::weight_, Kro::is<&Instrument::weightIs>,
         Kro::del<&Instrument::weightDel>>("weight"),
      Kro::computed<266, &Instrument::total>("total"),
      Kro::computed<267, &Instrument::sum>("sum"),
      Kro::statics<268, &Instrument::living>("living"),
      Kro::operation<269, Kro::overload<std::uint32_t>(&Instrument::scale),
         Kro::overload<std::uint32_t, std::uint32_t>(&Instrument::scale)>("scale"),
      Kro::operation<270, &Instrument::fail>("fail"),
      Kro::operation<271, &Instrument::failAsItself>("failAsItself"),
      Kro::reactor<272, &Instrument::handleLens>("handleLens"),
      Kro::value<273, &Instrument::lastLens_>("lastLens", Kro::readOnly));
   // clang-format on
};

constinit Kro::KroType const Instrument::kroType =
   Kro::entityType<Instrument, Instrument::Declaration>("Observatory::Instrument", &module);

Orvo::Ptr<Camera> Camera::twinOf(Orvo::Ptr<Camera> const& other)
{
   if (other == nullptr) {
      throw Kro::EntityNotFoundException("a twin needs another camera");
   }
   return Orvo::make<Camera>(Orvo::join(other->name(), "-twin"), other->pixels_);
}

struct Camera::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Camera, Instrument>(
      Kro::computed<154, &Camera::nameString>("nameString"),
      Kro::value<258, &Camera::pixels_>("pixels", Kro::readOnly));
   // clang-format on
};

constinit Kro::KroType const Camera::kroType = Kro::entityType<
   Camera, Camera::Declaration, Kro::constructor<Orvo::String>, Kro::constructor<Orvo::String, std::uint64_t>,
   Kro::constructorFunction<&Camera::twinOf>>("Observatory::Camera", &module);

} // namespace Observatory
