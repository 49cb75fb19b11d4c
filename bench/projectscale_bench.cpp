// Opening a project and placing imported files at 10,000 to 80,000 files. Each doubling should
// cost about twice the time; beside each stands the way a per-file search of a list does it
// (what the collection and the per-file use count once did), whose cost grows with the square.

#include "mediamodel/mediafile.h"
#include "project/projectfile.h"
#include "project/userfilesstorage.h"
#include "timeline/timeline.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <map>
#include <memory>
#include <vector>

namespace {

std::vector<std::shared_ptr<Media::File>> makeFiles(int count)
{
    std::vector<std::shared_ptr<Media::File>> files;
    files.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        auto file
            = std::make_shared<Media::File>(QStringLiteral("/home/user/Videos/holiday/clip %1.mp4")
                                                .arg(i, 6, 10, QLatin1Char('0')));
        file->state = Media::File::State::Opened;
        file->duration = MTime::fromMSec(4000);
        file->size = 1 << 20;
        file->videoTracks.push_back({});
        file->videoTracks.back().frameSize = QSize(1920, 1080);
        files.push_back(std::move(file));
    }
    return files;
}

// A saved project whose collection holds `count` files, half of them also on the timeline.
const QByteArray &projectBytes(int count)
{
    static std::map<int, QByteArray> made;
    QByteArray &bytes = made[count];
    if (bytes.isEmpty()) {
        auto project = Project::Object::createNew();
        const auto files = makeFiles(count);
        for (std::size_t i = 0; i < files.size(); ++i) {
            project->userFiles().add(files[i]);
            if (i % 2 == 0)
                project->timeline().insertClip(0, project->timeline().track(0).end(), files[i]);
        }
        bytes = Project::writeProjectFile(*project);
    }
    return bytes;
}

// 10,000 to 80,000 files, doubling; the searched-list alternatives stop at 20,000, past which
// they take minutes.
void doublings(benchmark::internal::Benchmark *b)
{
    for (int n = 10'000; n <= 80'000; n *= 2)
        b->Arg(n);
}

void BM_OpenProject(benchmark::State &state)
{
    const QByteArray &bytes = projectBytes(static_cast<int>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(Project::readProjectFile(bytes));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_OpenProject)->Apply(doublings)->Unit(benchmark::kMillisecond);

void BM_Collection_Indexed(benchmark::State &state)
{
    const auto files = makeFiles(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        Project::UserFilesStorage collection;
        benchmark::DoNotOptimize(collection.add(files));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Collection_Indexed)->Apply(doublings)->Unit(benchmark::kMillisecond);

// The alternative: a list searched by path for every file taken in.
void BM_Collection_ListSearch(benchmark::State &state)
{
    const auto files = makeFiles(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        std::vector<std::shared_ptr<Media::File>> collection;
        for (const auto &file : files) {
            if (std::none_of(collection.begin(), collection.end(),
                             [&](const auto &f) { return f->path == file->path; }))
                collection.push_back(file);
        }
        benchmark::DoNotOptimize(collection.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Collection_ListSearch)->Arg(10'000)->Arg(20'000)->Unit(benchmark::kMillisecond);

// What the timeline task handler does per imported file: place it, then ask how often the file
// came to the timeline (its analysis is reported on the first time only).
void BM_PlaceImportedFiles(benchmark::State &state)
{
    const auto files = makeFiles(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        Timeline::Model timeline;
        timeline.addTrack(Timeline::TrackType::Video);
        MTime at;
        int first = 0;
        for (const auto &file : files) {
            at = timeline.insertClip(0, at, file).end();
            first += timeline.fileUses(*file) == 1;
        }
        benchmark::DoNotOptimize(first);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_PlaceImportedFiles)->Apply(doublings)->Unit(benchmark::kMillisecond);

// The alternative: count a file's uses by walking every clip and comparing paths.
void BM_PlaceImportedFiles_WalkPerFile(benchmark::State &state)
{
    const auto files = makeFiles(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        Timeline::Model timeline;
        timeline.addTrack(Timeline::TrackType::Video);
        MTime at;
        int first = 0;
        for (const auto &file : files) {
            at = timeline.insertClip(0, at, file).end();
            int uses = 0;
            for (const auto &clip : timeline.track(0).clips())
                uses += clip->file()->path == file->path;
            first += uses == 1;
        }
        benchmark::DoNotOptimize(first);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_PlaceImportedFiles_WalkPerFile)
    ->Arg(10'000)
    ->Arg(20'000)
    ->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
