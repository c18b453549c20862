// Finds the name that a file gets in the trash, so that nothing that lies there, or is on its way
// there, is replaced. Any thread.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <tuple>

class QVTrashNames {
public:
    static QVTrashNames& shared();

    /// The path in the folder `trash` for a file that is about to be moved there: its own name, or
    /// that with the local date and time when it is taken, or that with a number when it is taken
    /// as well. The name stays taken while the file still stands where it was.
    std::string take(const std::string& path, const std::string& trash);

private:
    /// Tells a file from another one that came to stand at its path.
    using Identity = std::tuple<dev_t, ino_t, time_t, long>;
    struct Move {
        std::string path;
        Identity file;
    };

    static constexpr std::size_t fewMoves = 64;

    static std::optional<Identity> identityOf(const std::string& path);
    bool isTaken(const std::string& name);
    std::string freeName(const std::string& wanted);

    void forgetFinished();

    std::mutex mutex;
    std::map<std::string, Move> underWay; // by destination
    std::size_t forgetAt = fewMoves;
    std::string second;                 // of the numbers
    std::map<std::string, int> numbers; // last given, by name
};
