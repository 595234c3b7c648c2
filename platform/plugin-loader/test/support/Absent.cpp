extern "C" __attribute__((visibility("default"))) int pluginLoaderTestAbsent();

int pluginLoaderTestAbsent()
{
   return 1;
}
