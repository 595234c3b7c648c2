#include <Plugin/Entry.h>

#include <pthread.h>

extern "C" void pluginMain()
{
   static int result;
   ::pthread_exit(&result);
}
