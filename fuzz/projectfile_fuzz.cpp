// Project files come from anywhere (mail, old versions, other programs). Reading one must either
// give a project or fail with a FileError, never crash or hang; and a project that was read must
// write a file that reads back to the same file.

#include "project/projectfile.h"

#include <QByteArray>

#include <cstdint>
#include <cstdlib>

// Qt 5.15's JSON parser keeps what it built when it meets an error in the text; that is Qt's,
// not the reader's, and must not stop the search for our own faults.
extern "C" const char *__lsan_default_suppressions()
{
    return "leak:QJsonDocument::fromJson\n";
}

// Qt is built without frame pointers; only the slow unwinder sees through it to the frame the
// suppression names.
extern "C" const char *__asan_default_options()
{
    return "fast_unwind_on_malloc=0";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes
        = QByteArray::fromRawData(reinterpret_cast<const char *>(data), static_cast<int>(size));
    std::unique_ptr<Project::Object> project;
    try {
        project = Project::readProjectFile(bytes);
    } catch (const Project::FileError &) {
        return 0;
    }
    const QByteArray written = Project::writeProjectFile(*project);
    try {
        const auto again = Project::readProjectFile(written);
        if (Project::writeProjectFile(*again) != written)
            std::abort();
    } catch (const Project::FileError &) {
        std::abort(); // what this editor writes, it must read
    }
    return 0;
}
