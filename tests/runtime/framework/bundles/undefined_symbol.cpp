// A library that needs what nobody defines, which the loader finds out at once since it is no function.
extern "C" int spf_test_symbol_that_nobody_defines;
extern "C" __attribute__((visibility("default"))) int* const undefined_symbol_here =
    &spf_test_symbol_that_nobody_defines;
