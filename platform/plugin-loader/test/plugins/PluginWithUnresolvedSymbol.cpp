// Would be resolved when it is called, if the dynamic loader were asked to wait.

extern "C" void nobodyDefinesThis();

extern "C" __attribute__((visibility("default"))) void callsNobody()
{
   nobodyDefinesThis();
}
