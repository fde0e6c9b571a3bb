#include "render/wavwriter.h"

namespace torvo::render {

WavWriter::~WavWriter() {
    if (file_) sf_close(file_);
}

bool WavWriter::open(const std::string& path, int sampleRate, SampleFormat format,
                     std::string& error) {
    SF_INFO info{};
    info.samplerate = sampleRate;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | (format == SampleFormat::Pcm16   ? SF_FORMAT_PCM_16
                                   : format == SampleFormat::Pcm24 ? SF_FORMAT_PCM_24
                                                                   : SF_FORMAT_FLOAT);
    file_ = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!file_) {
        error = "cannot write \"" + path + "\": " + sf_strerror(nullptr);
        return false;
    }
    // Integer formats clip rather than wrap whatever the instrument puts out.
    sf_command(file_, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    return true;
}

bool WavWriter::write(const float* left, const float* right, int frames, std::string& error) {
    interleaved_.resize(size_t(frames) * 2);
    for (int i = 0; i < frames; ++i) {
        interleaved_[2 * i] = left[i];
        interleaved_[2 * i + 1] = right[i];
    }
    if (sf_writef_float(file_, interleaved_.data(), frames) != frames) {
        error = std::string("writing the WAV file failed: ") + sf_strerror(file_);
        return false;
    }
    return true;
}

bool WavWriter::close(std::string& error) {
    if (!file_) return true;
    const int result = sf_close(file_);
    file_ = nullptr;
    if (result != 0) {
        error = std::string("closing the WAV file failed: ") + sf_error_number(result);
        return false;
    }
    return true;
}

} // namespace torvo::render
