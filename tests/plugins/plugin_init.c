/* A plugin whose entry point is exported under its plain name. */
#if defined(_WIN32)
#  define PLUGIN_API __declspec(dllexport)
#else
#  define PLUGIN_API __attribute__((visibility("default")))
#endif

PLUGIN_API int init(void) { return 1; }
