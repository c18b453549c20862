// The smallest tool that says something, linked statically: what TaskBenchmark runs.
#include <string_view>
#include <unistd.h>

int main() {
    constexpr std::string_view text = "hello from a tool\n";
    return write(STDOUT_FILENO, text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0
                                                                                               : 1;
}
