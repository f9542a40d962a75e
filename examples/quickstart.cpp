// Quick start in C++: set two values, hear about changes, print the bag as JSON.
// Prints "video changed" (the top-level entry "video" is created by the first set;
// width and height are entries of that nested bag) and {"video":{"height":480,"width":640}}.
#include <iostream>

#include "Os/TavProperties.hpp"

int main() {
    tav::Properties bag;
    auto sub = bag.on_change("", [](std::string_view name) { std::cout << name << " changed\n"; });
    bag.set("video.width", 640);
    bag.set("video.height", 480);
    if (auto json = bag.to_json()) std::cout << *json << '\n';
    return bag.get<int>("video.width") == 640 ? 0 : 1;
}
