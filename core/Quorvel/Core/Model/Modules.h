#pragma once

#include <Quorvel/Core/Export.h>

#include <Kro/KroModule.h>

/// The descriptors of the five modules of this library, one per model source, under their fixed external names. Each is
/// registered with the framework when the library is loaded.

// NOLINTBEGIN(bugprone-reserved-identifier): the names are an external interface.
extern QUORVEL_CORE_EXPORT Kro::KroModule _Mount_9f87669e06341142_kroModule;
extern QUORVEL_CORE_EXPORT Kro::KroModule _Chunk_334569107d2ca953_kroModule;
extern QUORVEL_CORE_EXPORT Kro::KroModule _Collection_d95037a923a29d5_kroModule;
extern QUORVEL_CORE_EXPORT Kro::KroModule _Manager_3f1d6af35e273bc_kroModule;
extern QUORVEL_CORE_EXPORT Kro::KroModule _Loader_65b35f617e5fa89d_kroModule;
// NOLINTEND(bugprone-reserved-identifier)
