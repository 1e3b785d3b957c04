/* The program in tiny.exe, a PE32+ image for osslsigncode to sign, made once with
 *   x86_64-w64-mingw32-gcc -Os -s -nostdlib -e start -Wl,--subsystem,console -o tiny.exe tiny.c
 * and kept as data, so that the tests need no mingw-w64. */
int start(void) { return 0; }
