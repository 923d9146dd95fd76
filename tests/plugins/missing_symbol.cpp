// A library that cannot be loaded: it refers to a function that nobody has.

extern "C" void qel_tests_nobody_has_this();

// Never called: to be found missing it has to be looked for when the library is loaded.
extern "C" [[gnu::visibility("default")]] void qel_tests_calls_what_is_missing() { qel_tests_nobody_has_this(); }
