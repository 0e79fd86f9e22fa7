/* A plugin that exports its entry point only with a leading underscore, as
 * some toolchains decorate C names. It is linked without the start files,
 * whose own _init it would otherwise clash with, and with no load-time
 * initialiser, so that nothing calls this _init but the test. */
#if defined(_WIN32)
#  define PLUGIN_API __declspec(dllexport)
#else
#  define PLUGIN_API __attribute__((visibility("default")))
#endif

PLUGIN_API int _init(void) { return 2; }
