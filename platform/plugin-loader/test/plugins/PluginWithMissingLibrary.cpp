extern "C" int pluginLoaderTestAbsent();

namespace {

[[maybe_unused]] int const needed = pluginLoaderTestAbsent();

} // namespace
