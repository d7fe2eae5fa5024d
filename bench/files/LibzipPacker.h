// The libzip peer of the packing benchmark.
#pragma once

#include <string>
#include <vector>

// Adds each file under its entry name, deflated at libzip's default level.
bool packWithLibzip(const std::string& archive, const std::vector<std::string>& paths,
                    const std::vector<std::string>& entryNames);
