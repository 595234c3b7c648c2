#include <Kro/Entity.h>
#include <Kro/Table.h>

struct Sample {
   Orvo::Ptr<Kro::Entity const> entity;
};

constexpr auto table = Kro::table<Sample>(Kro::value<2, &Sample::entity>("entity"));
