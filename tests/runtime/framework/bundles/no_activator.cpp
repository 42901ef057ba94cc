// A library without an activator, although its manifest declares one.
extern "C" __attribute__((visibility("default"))) int no_activator_here() {
  return 0;
}
