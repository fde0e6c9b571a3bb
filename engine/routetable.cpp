#include "engine/routetable.h"

#include "shell/paramtable.h"

#include <array>
#include <string>
#include <vector>

namespace torvo {

namespace {

// Local orders by parameter name. Family prefixes are filled in per instance ("osc2_" ...).
const char* const kMidiLocals[] = {"mode",    "poly",    "glide_log",   "glide",     "drift",
                                   "bend_up", "bend_dn", "pitch_shift", "pitch_fine"};
const char* const kEnvLocals[] = {"att", "dec",     "sus",     "slt",     "sll",
                                  "rel", "att_crv", "dec_crv", "slp_crv", "rel_crv"};
const char* const kLfoLocals[] = {"rate",  "time",  "sym",  "sync", "mono",
                                  "morph", "phase", "form", "amp",  "fadein"};
const char* const kOscLocals[] = {"type",  "oct",  "note",  "fine", "ctrlA", "ctrlB",
                                  "phase", "wave", "wtmix", "udet", "uden",  "ucnt",
                                  "uoct",  "uwid", "ana",   "inv",  "key"};
const char* const kFilterLocals[] = {"flt_rout", "flt_link", "flt1_type",    "flt1_mode",
                                     "flt1_cut", "flt1_res", "flt2_type",    "flt2_mode",
                                     "flt2_cut", "flt2_res", "flt_keytrack", "flt_balance"};
const char* const kShaperLocals[] = {"shp_mode", "shp_band", "shp_hq",    "shp_drive",
                                     "shp_bit",  "shp_sr",   "shp_hicut", "shp_lowcut",
                                     "shp_wet",  "shp_mute"};
const char* const kPhaserLocals[] = {"phs_stages", "phs_freq",  "phs_fback", "phs_spread",
                                     "phs_rate",   "phs_depth", "phs_wet",   "phs_mute"};
const char* const kChorusLocals[] = {"chr_mode", "chr_delay", "chr_fback",  "chr_rate", "chr_depth",
                                     "chr_wide", "chr_hicut", "chr_lowcut", "chr_wet",  "chr_mute"};
const char* const kDelayLocals[] = {"del_pingpong", "del_sync",   "del_timeL", "del_timeR",
                                    "del_stimeL",   "del_stimeR", "del_fback", "del_rate",
                                    "del_modulate", "del_wide",   "del_color", "del_wet",
                                    "del_mute"};
const char* const kReverbLocals[] = {"rev_mode", "rev_sync", "rev_pretimeS", "rev_pretime",
                                     "rev_damp", "rev_wide", "rev_decay",    "rev_color",
                                     "rev_wet",  "rev_mute"};
const char* const kCompressorLocals[] = {"x-comp"};
const char* const kEqualizerLocals[] = {
    "eq_power",   "warm",     "soft",       "boost",     "eq_low_frq", "eq_low_Q",  "eq_low_lev",
    "eq_mid_frq", "eq_mid_Q", "eq_mid_lev", "eq_hi_frq", "eq_hi_Q",    "eq_hi_lev", "volume"};
const char* const kMacroLocals[] = {"macro1", "macro2", "macro3", "macro4"};
const char* const kStepperHead[] = {"rate", "time", "@arp_speed", "mode", "start",
                                    "stop", "mono", "rtrg",       "loop", "@arp_swing"};
const char* const kArpHead[] = {"arp_on",   "arp_length",   "arp_speed",  "arp_swing",
                                "arp_mode", "arp_velocity", "arp_octave", "arp_wrap"};

struct Tables {
    std::array<std::vector<int>, kModuleKeyCount> locals;
    std::array<RouteList, kParamCount> routes;
};

int idOf(const std::string& name) {
    const int id = findParamId(name);
    return id; // a missing name is a programming error caught by the route table tests
}

template <std::size_t N>
void addNames(std::vector<int>& out, const char* const (&names)[N], const std::string& prefix) {
    for (const char* n : names) out.push_back(idOf(prefix + n));
}

void addNumbered(std::vector<int>& out, const std::string& stem, int count) {
    for (int i = 1; i <= count; ++i) out.push_back(idOf(stem + std::to_string(i)));
}

std::vector<int> stepperLocals(int n) {
    const std::string p = "stp" + std::to_string(n) + "_";
    std::vector<int> ids;
    for (const char* arr : {"start", "end", "crvX", "crvY", "rep"}) addNumbered(ids, p + arr, 16);
    for (const char* h : kStepperHead) ids.push_back(h[0] == '@' ? idOf(h + 1) : idOf(p + h));
    addNumbered(ids, p + "hold", 16);
    return ids;
}

std::vector<int> arpLocals() {
    std::vector<int> ids;
    addNumbered(ids, "arp_note", 16);
    addNumbered(ids, "arp_hold", 16);
    addNumbered(ids, "arp_vel", 16);
    addNames(ids, kArpHead, "");
    return ids;
}

Tables buildTables() {
    Tables t;
    addNames(t.locals[kKeyMidi], kMidiLocals, "");
    for (int n = 0; n < 4; ++n) {
        const std::string num = std::to_string(n + 1);
        addNames(t.locals[kKeyEnv1 + n], kEnvLocals, "env" + num + "_");
        addNames(t.locals[kKeyLfo1 + n], kLfoLocals, "lfo" + num + "_");
        t.locals[kKeyLfo1 + n].push_back(idOf("drift"));
        addNames(t.locals[kKeyOsc1 + n], kOscLocals, "osc" + num + "_");
    }
    auto& mix = t.locals[kKeyMixer];
    for (const char* f : {"osc%_pan", "mix_osc%", "osc%_mixto", "osc%_mute"}) {
        for (int n = 1; n <= 4; ++n) {
            std::string name = f;
            name.replace(name.find('%'), 1, std::to_string(n));
            mix.push_back(idOf(name));
        }
    }
    addNames(t.locals[kKeyFilter], kFilterLocals, "");
    addNames(t.locals[kKeyShaper], kShaperLocals, "");
    addNames(t.locals[kKeyPhaser], kPhaserLocals, "");
    addNames(t.locals[kKeyChorus], kChorusLocals, "");
    addNames(t.locals[kKeyDelay], kDelayLocals, "");
    addNames(t.locals[kKeyReverb], kReverbLocals, "");
    addNames(t.locals[kKeyCompressor], kCompressorLocals, "");
    addNames(t.locals[kKeyEqualizer], kEqualizerLocals, "");
    addNames(t.locals[kKeyPerformance], kMacroLocals, "");
    t.locals[kKeyStepper1] = stepperLocals(1);
    t.locals[kKeyStepper1 + 1] = stepperLocals(2);
    t.locals[kKeyArp] = arpLocals();

    for (int key = 0; key < kModuleKeyCount; ++key) {
        const auto& ids = t.locals[key];
        for (std::size_t local = 0; local < ids.size(); ++local) {
            const int id = ids[local];
            if (id < 0 || id >= kParamCount) continue;
            RouteList& list = t.routes[id];
            if (list.count < RouteList::kMax)
                list.routes[list.count++] = Route{uint8_t(key), uint8_t(local)};
        }
    }
    for (auto& ids : t.locals) ids.push_back(-1);
    return t;
}

const Tables& tables() {
    static const Tables t = buildTables();
    return t;
}

} // namespace

const RouteList& routesOf(int paramId) {
    static const RouteList empty{};
    if (paramId < 0 || paramId >= kParamCount) return empty;
    return tables().routes[paramId];
}

const int* localParamsOf(int moduleKey, int* count) {
    if (moduleKey < 0 || moduleKey >= kModuleKeyCount) return nullptr;
    const auto& ids = tables().locals[moduleKey];
    if (count) *count = int(ids.size()) - 1;
    return ids.size() > 1 ? ids.data() : nullptr;
}

} // namespace torvo
