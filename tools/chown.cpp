// chown: the machine's own, for callers that call the superuser's group "wheel". Here that group
// has another name, and where there is a "wheel" it is another group.

#include <array>
#include <cstdio>
#include <cstring>
#include <grp.h>
#include <string>
#include <unistd.h>
#include <vector>

static std::string withSuperusersGroup(const std::string& owner) {
    constexpr const char* suffix = ":wheel";
    if (!owner.ends_with(suffix)) {
        return owner;
    }
    const group* entry = getgrgid(0);
    return owner.substr(0, owner.size() - std::strlen(suffix)) + ":" +
           (entry != nullptr ? entry->gr_name : "0");
}

int main(int argc, char** argv) {
    std::vector<std::string> arguments(argv, argv + argc);
    for (std::size_t index = 1; index < arguments.size(); ++index) {
        // The first operand is the owner.
        if (!arguments[index].starts_with('-')) {
            arguments[index] = withSuperusersGroup(arguments[index]);
            break;
        }
    }
    std::vector<char*> vector;
    for (auto& argument : arguments) {
        vector.push_back(argument.data());
    }
    vector.push_back(nullptr);
    // By place, not by the caller's idea of one: this may run as the superuser.
    for (const char* program : {"/usr/bin/chown", "/bin/chown"}) {
        execv(program, vector.data());
    }
    std::perror("chown");
    return 127;
}
