#pragma once
// The tuning the controller keeps for the host state: the scale's entries, the chosen file,
// the reference note and the concert-pitch index. The processor only ever sees the reduced
// float table, sent as a message; this is the form that survives in a project.

#include <cstdint>
#include <string>
#include <vector>

namespace torvo {

struct ScaleEntry {
    /// 0 cents, 1 ratio.
    int32_t type = 0;
    int32_t num = 1;
    int32_t den = 1;
    double cents = 0.0;
};

class ControllerTuning {
public:
    static constexpr int kDefaultRefNote = 69;
    static constexpr int kDefaultA4Index = 4;

    /// JSON object text with the members microtuning, selected_file, ref_note, a4_freq.
    std::string stateText() const;
    /// Takes a state written by stateText; missing members take their defaults, and text that
    /// is no JSON object leaves equal temperament.
    void applyStateText(const std::string& text);
    /// Back to equal temperament, reference 69, A4 index 4.
    void reset();

    bool hasScale() const { return !entries.empty(); }
    /// The table the processor plays: 0, then each entry in semitones.
    std::vector<float> table() const;
    int refNote() const { return reference; }
    int a4Index() const { return a4; }
    const std::string& selectedFile() const { return file; }

private:
    std::vector<ScaleEntry> entries;
    std::string file;
    int reference = kDefaultRefNote;
    int a4 = kDefaultA4Index;
};

} // namespace torvo
