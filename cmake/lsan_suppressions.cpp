// Linked into the programs of a sanitizer build. Qt's offscreen platform plugin never frees the
// screen it creates; that one known leak outside our code must not fail every headless run.
extern "C" const char *__lsan_default_suppressions()
{
    return "leak:libqoffscreen\n";
}
