#pragma once

#include <cstddef>

namespace TolSlab {

/// What the allocator must know of a class whose objects it stores. One constant object per class, usable at any time
/// of the process's life:
///
///     static constinit TolSlab::TypeInfo const memory{sizeof(Chunk), "Chunk"};
struct TypeInfo {
   std::size_t size; ///< bytes of one object
   char const* name; ///< name of the class, for people; borrowed, usually a literal
};

} // namespace TolSlab
