// Linked into the programs of a sanitizer build. Qt's offscreen platform plugin never frees the
// screen it creates; that one known leak outside our code must not fail every headless run.
extern "C" const char *__lsan_default_suppressions()
{
    // Qt 5.15's JSON parser keeps what it built when it meets an error (an unterminated object,
    // text after the document); reading damaged files must not fail the run over Qt's bytes.
    // On a real X display (the window's tests) Qt's platform theme asks the session bus through
    // libdbus, which keeps a buffer of that conversation to the end.
    return "leak:libqoffscreen\n"
           "leak:QJsonDocument::fromJson\n"
           "leak:libdbus-1.so\n";
}
