#pragma once
// A stereo WAV file written block by block through libsndfile.

#include <sndfile.h>

#include <string>
#include <vector>

namespace torvo::render {

enum class SampleFormat { Pcm16, Pcm24, Float };

class WavWriter {
public:
    ~WavWriter();
    bool open(const std::string& path, int sampleRate, SampleFormat format, std::string& error);
    /// Appends `frames` samples of each channel; false on a write error.
    bool write(const float* left, const float* right, int frames, std::string& error);
    /// Finishes the header; false if the file could not be completed.
    bool close(std::string& error);

private:
    SNDFILE* file_ = nullptr;
    std::vector<float> interleaved_;
};

} // namespace torvo::render
