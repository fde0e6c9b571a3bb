#include "render/progressbar.h"

#include <unistd.h>

#include <cstdio>

namespace torvo::render {

namespace {
constexpr auto kHoldOff = std::chrono::milliseconds(500);
constexpr auto kInterval = std::chrono::milliseconds(100);
constexpr int kWidth = 40;
} // namespace

ProgressBar::ProgressBar(bool enabled)
    : enabled_(enabled && isatty(STDERR_FILENO)), start_(std::chrono::steady_clock::now()),
      lastDraw_(start_) {}

ProgressBar::~ProgressBar() {
    finish();
}

void ProgressBar::update(int64_t done, int64_t total) {
    if (!enabled_) return;
    const auto now = std::chrono::steady_clock::now();
    if (now - start_ < kHoldOff || (shown_ && now - lastDraw_ < kInterval)) return;
    lastDraw_ = now;
    draw(done, total);
}

void ProgressBar::draw(int64_t done, int64_t total) {
    const double fraction = total > 0 ? double(done) / double(total) : 1.0;
    const int filled = static_cast<int>(fraction * kWidth);
    char bar[kWidth + 1];
    for (int i = 0; i < kWidth; ++i) bar[i] = i < filled ? '#' : '-';
    bar[kWidth] = 0;
    const double elapsed =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    std::fprintf(stderr, "\rrendering [%s] %3d%%  %.1f s", bar, int(fraction * 100.0 + 0.5),
                 elapsed);
    std::fflush(stderr);
    shown_ = true;
}

void ProgressBar::finish() {
    if (!shown_) return;
    draw(1, 1);
    std::fputc('\n', stderr);
    shown_ = false;
    enabled_ = false;
}

} // namespace torvo::render
