// A library without an activator, though its manifest promises one.
extern "C" __attribute__((visibility("default"))) int no_activator_here() {
  return 0;
}
