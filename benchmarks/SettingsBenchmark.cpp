// What the pane does with its disk and its tools each time: a save of the settings beside Qt's way
// of writing a file safely, and the interfaces' list beside the bare run of the tool that reports
// them.
#include "BareRun.h"
#include "Limits.h"

#include "Foundation/NSPropertyListSerialization.h"
#include "pane/InterfaceReport.h"
#include "Shared/QVTask.h"
#include "System/Machine.h"

#include <fcntl.h>
#include <filesystem>
#include <QSaveFile>

namespace {

const std::vector<std::string> profiler = {TOOLS_DIRECTORY "/system_profiler", "SPNetworkDataType",
                                           "-xml"};

/// As many as the pane's.
NSDictionary settings() {
    NSDictionary dictionary;
    for (int index = 0; index < 12; ++index) {
        dictionary.setObject(index % 2 == 0 ? PropertyList(index) : "a text",
                             "setting" + std::to_string(index));
    }
    return dictionary;
}

/// A folder on the disk that a home is on, for as long as it lives.
class Folder {
public:
    Folder() { std::filesystem::create_directory(path); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() { std::filesystem::remove_all(path); }

    const std::string path =
        std::filesystem::current_path() / ("saves-" + std::to_string(getpid()));
};

void SaveSettings(benchmark::State& state) {
    const Folder folder;
    const auto dictionary = settings();
    for (auto _ : state) {
        if (!writeDictionaryToFile(dictionary, folder.path + "/settings.plist")) {
            state.SkipWithError("not saved");
        }
    }
}

/// The same bytes, and the folder flushed as well, which QSaveFile leaves to chance.
void QtSaveFile(benchmark::State& state) {
    const Folder folder;
    const auto dictionary = settings();
    for (auto _ : state) {
        const auto bytes = dataFromPropertyList(dictionary);
        QSaveFile file(QString::fromStdString(folder.path + "/settings.plist"));
        const bool opened = file.open(QIODevice::WriteOnly);
        file.write(bytes.data(), static_cast<qint64>(bytes.size()));
        const int opener = open(folder.path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (!opened || !file.commit() || fsync(opener) != 0) {
            state.SkipWithError("not saved");
        }
        close(opener);
    }
}

void InterfaceList(benchmark::State& state) {
    for (auto _ : state) {
        const auto report =
            QVTask::stringFromTask(profiler[0], {profiler.begin() + 1, profiler.end()}, 10.0);
        if (!report || !interfacesInReport(propertyListFromData(*report))) {
            state.SkipWithError("no list");
        }
    }
}

void BareProfiler(benchmark::State& state) {
    for (auto _ : state) {
        if (bareOutput(profiler).empty()) {
            state.SkipWithError("no report");
        }
    }
}

// Many short turns, so that the peers meet the same moods of the machine.
#define TURNS(name)                                                                                \
    BENCHMARK(name)->Unit(benchmark::kMicrosecond)->UseRealTime()->MinTime(0.05)->Repetitions(31)
TURNS(SaveSettings);
TURNS(QtSaveFile);
TURNS(InterfaceList);
TURNS(BareProfiler);

} // namespace

int main(int count, char** arguments) {
    return runWithLimits(
        count, arguments,
        {{"SaveSettings", "QtSaveFile", 1.0}, {"InterfaceList", "BareProfiler", 1.05}});
}
