// A library with an undefined variable. The loader resolves variables at once, unlike functions.
extern "C" int spf_test_symbol_that_nobody_defines;
extern "C" __attribute__((visibility("default"))) int* const undefined_symbol_here =
    &spf_test_symbol_that_nobody_defines;
