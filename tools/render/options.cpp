#include "render/options.h"

#include <getopt.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace torvo::render {

namespace {

constexpr const char* kDemoOutput = "torvo-demo.wav";

const char kHelp[] =
    "Usage: torvo-render [OPTIONS] [MIDI_FILE]\n"
    "\n"
    "Plays a standard MIDI file through the Torvo instrument and writes the sound to a\n"
    "stereo WAV file. Without a MIDI file it plays a built-in phrase of four bars with\n"
    "the default sound and writes torvo-demo.wav.\n"
    "\n"
    "Options:\n"
    "  -o, --output FILE    WAV file to write (default: the MIDI file's name with .wav,\n"
    "                       in the current folder)\n"
    "  -p, --preset FILE    sound to load before playing, either\n"
    "                         - 725 little-endian 32-bit floats, the parameter table in\n"
    "                           order (a file of exactly 2900 bytes), or\n"
    "                         - a processor state block as the plug-in saves it in host\n"
    "                           projects: i32 count n (1..725), n floats, i32 count m\n"
    "                           (0..13), m floats; all little-endian\n"
    "  -r, --rate HZ        sample rate, 8000 to 384000 (default 48000)\n"
    "  -b, --block N        samples per process call, 1 to 8192 (default 512)\n"
    "  -t, --tail SECONDS   time rendered after the last MIDI event (default 2)\n"
    "  -f, --format F       pcm16, pcm24 or float (default pcm24)\n"
    "      --plugin PATH    the Torvo.vst3 bundle to use (default: beside this program,\n"
    "                       then ~/.vst3/Torvo.vst3, then the system VST3 folders)\n"
    "  -q, --quiet          print nothing but errors\n"
    "  -h, --help           show this help and exit\n"
    "      --version        show the version and exit\n"
    "\n"
    "Notes, controllers mapped by the plug-in, pitch bend and channel pressure are played;\n"
    "other messages are ignored. The exit status is 0 on success and 1 on any error.\n";

bool parseInt(const char* text, long low, long high, int& out) {
    char* end = nullptr;
    errno = 0;
    const long v = std::strtol(text, &end, 10);
    if (errno || end == text || *end || v < low || v > high) return false;
    out = static_cast<int>(v);
    return true;
}

bool parseSeconds(const char* text, double& out) {
    char* end = nullptr;
    const double v = std::strtod(text, &end);
    if (end == text || *end || !std::isfinite(v) || v < 0.0 || v > 3600.0) return false;
    out = v;
    return true;
}

enum LongOnly { kPluginOption = 1000, kVersionOption };

} // namespace

ParseResult parseOptions(int argc, char** argv, Options& options, std::string& error) {
    static const option kLong[] = {
        {"output", required_argument, nullptr, 'o'},
        {"preset", required_argument, nullptr, 'p'},
        {"rate", required_argument, nullptr, 'r'},
        {"block", required_argument, nullptr, 'b'},
        {"tail", required_argument, nullptr, 't'},
        {"format", required_argument, nullptr, 'f'},
        {"plugin", required_argument, nullptr, kPluginOption},
        {"quiet", no_argument, nullptr, 'q'},
        {"help", no_argument, nullptr, 'h'},
        {"version", no_argument, nullptr, kVersionOption},
        {nullptr, 0, nullptr, 0},
    };
    opterr = 0;
    optind = 1;
    int c;
    while ((c = getopt_long(argc, argv, ":o:p:r:b:t:f:qh", kLong, nullptr)) != -1) {
        switch (c) {
        case 'o':
            options.output = optarg;
            break;
        case 'p':
            options.preset = optarg;
            break;
        case kPluginOption:
            options.plugin = optarg;
            break;
        case 'q':
            options.quiet = true;
            break;
        case 'r':
            if (!parseInt(optarg, 8000, 384000, options.sampleRate)) {
                error = std::string("bad sample rate \"") + optarg + "\": use 8000 to 384000";
                return ParseResult::Error;
            }
            break;
        case 'b':
            if (!parseInt(optarg, 1, 8192, options.blockSize)) {
                error = std::string("bad block size \"") + optarg + "\": use 1 to 8192";
                return ParseResult::Error;
            }
            break;
        case 't':
            if (!parseSeconds(optarg, options.tailSeconds)) {
                error = std::string("bad tail \"") + optarg + "\": use 0 to 3600 seconds";
                return ParseResult::Error;
            }
            break;
        case 'f': {
            const std::string f = optarg;
            if (f == "pcm16")
                options.format = SampleFormat::Pcm16;
            else if (f == "pcm24")
                options.format = SampleFormat::Pcm24;
            else if (f == "float")
                options.format = SampleFormat::Float;
            else {
                error = "bad format \"" + f + "\": use pcm16, pcm24 or float";
                return ParseResult::Error;
            }
            break;
        }
        case 'h':
            std::fputs(kHelp, stdout);
            return ParseResult::Exit;
        case kVersionOption:
            std::puts("torvo-render 1.5.18");
            return ParseResult::Exit;
        case ':':
            error = std::string("option ") + argv[optind - 1] + " needs a value";
            return ParseResult::Error;
        default:
            error = optopt > 0 && optopt < 1000
                        ? std::string("unknown option -") + char(optopt) + " (see --help)"
                        : std::string("unknown option ") + argv[optind - 1] + " (see --help)";
            return ParseResult::Error;
        }
    }
    if (argc - optind > 1) {
        error = "more than one MIDI file given (see --help)";
        return ParseResult::Error;
    }
    if (optind < argc) options.midiFile = argv[optind];
    return ParseResult::Run;
}

std::string defaultOutputName(const Options& options) {
    if (options.midiFile.empty()) return kDemoOutput;
    std::string name = options.midiFile;
    const auto slash = name.find_last_of('/');
    if (slash != std::string::npos) name = name.substr(slash + 1);
    const auto dot = name.find_last_of('.');
    if (dot != std::string::npos && dot > 0) name = name.substr(0, dot);
    return name + ".wav";
}

} // namespace torvo::render
