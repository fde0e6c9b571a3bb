#pragma once
// A progress bar on stderr for renders that take a while. It stays hidden when stderr is not
// a terminal, and during the first half second, so short renders print nothing.

#include <chrono>
#include <cstdint>

namespace torvo::render {

class ProgressBar {
public:
    explicit ProgressBar(bool enabled);
    ~ProgressBar();
    /// Reports `done` of `total` units; draws at most ten times a second.
    void update(int64_t done, int64_t total);
    /// Draws the full bar and ends its line, if it was ever shown.
    void finish();

private:
    void draw(int64_t done, int64_t total);

    bool enabled_;
    bool shown_ = false;
    std::chrono::steady_clock::time_point start_;
    std::chrono::steady_clock::time_point lastDraw_;
};

} // namespace torvo::render
