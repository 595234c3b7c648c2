#include <stdexcept>

namespace {

[[maybe_unused]] bool const isInitialised = []() -> bool { throw std::runtime_error("no device"); }();

} // namespace
