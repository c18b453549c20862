#include "System/ProgramOutput.h"

void ProgramOutput::readUntilEnd(LaunchedProcess& program, const std::function<void()>& atExit,
                                 const std::function<bool()>& endsAtExit) {
    const int exit = program.exitDescriptor();
    bool exitSeen = false;
    const auto seeExit = [&] {
        exitSeen = true;
        waiting.remove(exit);
        atExit();
        output.readWhatIsThere();
        error.readWhatIsThere();
    };
    if (exit >= 0) {
        waiting.add(exit, seeExit);
    } else {
        seeExit(); // it can only be waited for, once its output has ended
    }
    waiting.wait([&] {
        const bool enough = endsAtExit();
        return exitSeen && (enough || (output.hasEnded() && error.hasEnded()));
    });
    if (exit < 0) {
        program.waitUntilExit();
    }
}
