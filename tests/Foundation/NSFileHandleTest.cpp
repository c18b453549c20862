#include "Foundation/NSException.h"
#include "Foundation/NSPipe.h"
#include "Foundation/NSProcessInfo.h"
#include "support/TestMachine.h"

#include <set>
#include <thread>

namespace {

class FileHandleTest : public RealTimeMachineTest {};

TEST_F(FileHandleTest, readsWhatIsThereUntilTheEnd) {
    const NSPipe pipe;
    pipe.fileHandleForWriting()->writeData("abc");
    EXPECT_EQ(pipe.fileHandleForReading()->availableData(), NSData({'a', 'b', 'c'}));
    pipe.fileHandleForWriting()->closeFile();
    EXPECT_EQ(pipe.fileHandleForReading()->availableData(), NSData());
    EXPECT_THROW(pipe.fileHandleForWriting()->writeData("d"), NSException);
}

TEST_F(FileHandleTest, closingEndsAReadOfAnotherThread) {
    for (int count = 0; count < 200; ++count) {
        const NSPipe pipe;
        std::thread reader(
            [&] { EXPECT_EQ(pipe.fileHandleForReading()->availableData(), NSData()); });
        pipe.fileHandleForReading()->closeFile();
        reader.join();
    }
}

TEST_F(FileHandleTest, aWriteThatFailsRaises) {
    const auto full = NSFileHandle::fileHandleForAppendingAtPath("/dev/full");
    ASSERT_TRUE(full);
    try {
        full->writeData("text");
        FAIL() << "nothing was raised";
    } catch (const NSException& exception) {
        EXPECT_EQ(exception.name(), NSFileHandleOperationException);
        EXPECT_EQ(exception.reason(), "No space left on device");
    }
    EXPECT_FALSE(NSFileHandle::fileHandleForAppendingAtPath(directory.path() + "/missing"));
}

TEST(NSProcessInfo, makesUniqueStrings) {
    std::set<std::string> texts;
    for (int count = 0; count < 1000; ++count) {
        texts.insert(globallyUniqueString());
    }
    EXPECT_EQ(texts.size(), 1000U);
    EXPECT_EQ(texts.begin()->size(), 36U);
}

} // namespace
