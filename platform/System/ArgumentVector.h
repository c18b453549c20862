// Texts in the form in which the kernel takes a program's arguments and its environment.
#pragma once

#include <string>
#include <vector>

/// Points into the texts, which stay the caller's, and ends with a null pointer.
inline std::vector<char*> argumentVector(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (const auto& text : texts) {
        pointers.push_back(const_cast<char*>(text.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}
