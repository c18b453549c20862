#include "Foundation/NSRunLoop.h"

#include <gtest/gtest.h>

int main(int count, char** arguments) {
    NSRunLoop::mainRunLoop(); // this thread is the main one
    testing::InitGoogleTest(&count, arguments);
    return RUN_ALL_TESTS();
}
