// Makes every media sample the suites read into one folder, once per build: ctest starts a process
// per test, and each making them anew cost seconds of ffmpeg.
#include "mediasamples.h"

#include <QCoreApplication>
#include <QDir>

#include <exception>
#include <iostream>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc != 2) {
        std::cerr << "usage: make-media-samples FOLDER\n";
        return 2;
    }
    const QString folder = QString::fromLocal8Bit(argv[1]);
    try {
        if (!QDir().mkpath(folder))
            throw std::runtime_error("cannot make " + folder.toStdString());
        for (const TestSupport::MediaSamples::Kind &kind : TestSupport::MediaSamples::kinds())
            TestSupport::MediaSamples::make(QLatin1String(kind.name),
                                            QDir(folder).filePath(QLatin1String(kind.name)));
    } catch (const std::exception &e) {
        std::cerr << "make-media-samples: " << e.what() << '\n';
        return 1;
    }
    return 0;
}
