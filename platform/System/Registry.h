// What is known by a name from the moment its library is loaded.
#pragma once

#include <string_view>
#include <utility>

/// Functions by name. Takes no memory, since nobody could be told while libraries are loaded that
/// there is none. One thread at a time.
template <class Function>
class Registry {
public:
    /// At file level, registers a function for as long as the program runs.
    class Entry {
    public:
        /// Replaces an earlier one of the same name. Keeps the name, not a copy.
        Entry(Registry& registry, const char* name, Function* function) noexcept
            : name(name), function(function), next(std::exchange(registry.newest, this)) {}
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

    private:
        friend Registry;
        const std::string_view name;
        Function* const function;
        const Entry* const next;
    };

    /// Null for a name that nobody registered.
    Function* find(std::string_view name) const {
        const Entry* each = newest;
        while (each && each->name != name) {
            each = each->next;
        }
        return each ? each->function : nullptr;
    }

private:
    const Entry* newest = nullptr;
};
