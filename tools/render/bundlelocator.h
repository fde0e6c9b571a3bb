#pragma once
// Where torvo-render finds the plug-in when not told: beside the program (the build folder),
// one level up (an installed tree), then the per-user and system VST3 folders.

#include <string>
#include <vector>

namespace torvo::render {

/// Candidate bundle paths, in the order they are tried.
std::vector<std::string> bundleCandidates();
/// The first candidate that holds the plug-in's shared object, or empty.
std::string findBundle();

} // namespace torvo::render
