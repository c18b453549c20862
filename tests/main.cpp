#include "Foundation/NSRunLoop.h"

#include <gtest/gtest.h>

#ifdef __SANITIZE_THREAD__
/// Qt paints large areas on threads of its own, and hands them over in ways that a library built
/// without the sanitizer cannot show to it.
extern "C" const char* __tsan_default_suppressions() {
    return "race:libQt6Gui.so\nrace:libQt6Core.so\ncalled_from_lib:libQt6Gui.so\n";
}
#endif

int main(int count, char** arguments) {
    NSRunLoop::mainRunLoop(); // this thread is the main one
    testing::InitGoogleTest(&count, arguments);
    return RUN_ALL_TESTS();
}
