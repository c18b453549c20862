#include "Foundation/NSBundle.h"

#include "Foundation/NSFileManager.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "support/TestMachine.h"
#include "System/FileReplacement.h"

#include <dlfcn.h>
#include <plist/plist.h>
#include <typeinfo>

namespace fs = std::filesystem;

namespace {

class NSBundleTest : public MachineTest {
protected:
    std::string makeBundle(const std::string& place, const NSDictionary& info) const {
        std::string path = machine->root() + place;
        fs::create_directories(path + "/Contents/MacOS");
        writeDictionaryToFile(info, path + "/Contents/Info.plist");
        return path;
    }
    std::string pathOf(const std::string& identifier) const {
        const auto bundle = NSBundle::bundleWithIdentifier(identifier);
        return bundle ? bundle->bundlePath().substr(machine->root().size()) : "";
    }
};

TEST_F(NSBundleTest, ApplicationsAreFoundByIdentifierTheMachinesFirst) {
    const NSDictionary tolvin{{"CFBundleIdentifier", "com.quorvane.Tolvin"}};
    EXPECT_EQ(pathOf("com.quorvane.Tolvin"), "") << "no Applications folder at all";
    makeBundle("/Users/anna/Applications/A.app", tolvin);
    EXPECT_EQ(pathOf("com.quorvane.Tolvin"), "/Users/anna/Applications/A.app");
    makeBundle("/Applications/Tolvin.app", tolvin);
    makeBundle("/Applications/A.app", {{"CFBundleIdentifier", "com.quorvane.Tolvin.other"}});
    makeBundle("/Applications/A.folder", tolvin);
    makeBundle("/Applications/B.app", {{"CFBundleIdentifier", 7}});
    writeFileAtomically("<plist>", makeBundle("/Applications/D.app", {}) + "/Contents/Info.plist");
    writeFileAtomically("no folder", machine->root() + "/Applications/E.app");
    EXPECT_EQ(pathOf("com.quorvane.Tolvin"), "/Applications/Tolvin.app");
}

TEST_F(NSBundleTest, CodeBelongsToTheInnermostBundleOfItsModule) {
    EXPECT_FALSE(NSBundle::bundleForCode(&typeid(NSBundleTest))) << "the test program has none";
    makeBundle("/Outer.app", {{"CFBundleVersion", "outer"}});
    const std::string path = makeBundle("/Outer.app/Contents/PlugIns/In.prefPane",
                                        {{"CFBundleExecutable", "In"}, {"CFBundleVersion", 1}});
    fs::create_symlink(path, machine->root() + "/link");
    Dl_info library{}; // any shared library does for a module
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&plist_new_dict), &library), 0);
    fs::copy_file(library.dli_fname, path + "/Contents/MacOS/In");
    void* const handle = dlopen((machine->root() + "/link/Contents/MacOS/In").c_str(), RTLD_NOW);
    ASSERT_TRUE(handle) << dlerror();
    void* const code = dlsym(handle, "plist_new_dict");
    const auto inner = NSBundle::bundleForCode(code);
    fs::remove(path + "/Contents/Info.plist");
    const auto outer = NSBundle::bundleForCode(code);
    dlclose(handle);
    ASSERT_TRUE(inner && outer);
    EXPECT_EQ(inner->executablePath(), path + "/Contents/MacOS/In");
    EXPECT_FALSE(inner->infoString("CFBundleVersion") || inner->pathForResource("missing.ui"));
    EXPECT_EQ(outer->infoString("CFBundleVersion"), "outer");
}

} // namespace
