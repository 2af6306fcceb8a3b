/* A module for the format "ZXVNOENT" without the data-conversion entry
 * point: loading it works, finding the exit does not. */
#define EXIT_ENTRY __attribute__((visibility("default")))

EXIT_ENTRY int ZxvNotTheExit(void);

EXIT_ENTRY int ZxvNotTheExit(void) { return 0; }
