#include "Foundation/NSException.h"
#include "Foundation/NSPipe.h"
#include "support/TestMachine.h"

#include <thread>

namespace {

class NSFileHandleTest : public RealTimeMachineTest {};

TEST_F(NSFileHandleTest, ReadsWhatIsThereUntilTheEnd) {
    const NSPipe pipe;
    pipe.fileHandleForWriting()->writeData("abc");
    EXPECT_EQ(pipe.fileHandleForReading()->availableData(), NSData({'a', 'b', 'c'}));
    pipe.fileHandleForWriting()->closeFile();
    EXPECT_EQ(pipe.fileHandleForReading()->availableData(), NSData());
    EXPECT_THROW(pipe.fileHandleForWriting()->writeData("d"), NSException);
}

TEST_F(NSFileHandleTest, ClosingEndsAReadOfAnotherThread) {
    for (int count = 0; count < 200; ++count) {
        const NSPipe pipe;
        const auto end = pipe.fileHandleForReading();
        std::thread reader([&] { EXPECT_EQ(end->availableData(), NSData()); });
        end->closeFile();
        reader.join();
    }
}

} // namespace
