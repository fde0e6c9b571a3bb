#include "shell/controllertuning.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace torvo {

namespace {
using Json = nlohmann::ordered_json;

/// 12 / ln 2: semitones per unit of natural log of a frequency ratio.
constexpr double kSemitonesPerLn = 17.31234;

bool readInt(const Json& v, int& out) {
    if (v.is_number_integer() || v.is_number_unsigned()) {
        out = int(v.get<long long>());
        return true;
    }
    if (v.is_number_float()) {
        out = int(v.get<double>());
        return true;
    }
    if (v.is_string()) {
        const std::string& s = v.get_ref<const std::string&>();
        char* end = nullptr;
        const long n = std::strtol(s.c_str(), &end, 10);
        if (end == s.c_str()) return false;
        out = int(n);
        return true;
    }
    return false;
}
} // namespace

std::string ControllerTuning::stateText() const {
    Json root = Json::object();
    Json scale = Json::array();
    for (const ScaleEntry& e : entries) {
        Json item = Json::object();
        item["type"] = e.type;
        if (e.type == 1) {
            item["num"] = e.num;
            item["den"] = e.den;
        } else {
            char text[48];
            std::snprintf(text, sizeof(text), "%.6f", e.cents);
            item["rat"] = text;
        }
        scale.push_back(std::move(item));
    }
    root["microtuning"] = std::move(scale);
    root["selected_file"] = file;
    root["ref_note"] = reference;
    root["a4_freq"] = a4;
    return root.dump();
}

void ControllerTuning::reset() {
    entries.clear();
    file.clear();
    reference = kDefaultRefNote;
    a4 = kDefaultA4Index;
}

void ControllerTuning::applyStateText(const std::string& text) {
    reset();
    const Json root = Json::parse(text, nullptr, false);
    if (!root.is_object()) return;
    if (auto it = root.find("microtuning"); it != root.end() && it->is_array()) {
        for (const Json& item : *it) {
            if (!item.is_object()) continue;
            ScaleEntry e;
            int type = 0;
            if (auto t = item.find("type"); t != item.end()) readInt(*t, type);
            e.type = type == 1 ? 1 : 0;
            if (e.type == 1) {
                int num = 1, den = 1;
                if (auto n = item.find("num"); n != item.end()) readInt(*n, num);
                if (auto d = item.find("den"); d != item.end()) readInt(*d, den);
                e.num = num;
                e.den = den;
            } else if (auto r = item.find("rat"); r != item.end()) {
                if (r->is_string())
                    e.cents = std::strtod(r->get_ref<const std::string&>().c_str(), nullptr);
                else if (r->is_number())
                    e.cents = r->get<double>();
            }
            entries.push_back(e);
        }
    }
    if (auto it = root.find("selected_file"); it != root.end() && it->is_string())
        file = it->get<std::string>();
    if (auto it = root.find("ref_note"); it != root.end()) readInt(*it, reference);
    if (auto it = root.find("a4_freq"); it != root.end()) readInt(*it, a4);
}

std::vector<float> ControllerTuning::table() const {
    std::vector<float> out;
    out.reserve(entries.size() + 1);
    out.push_back(0.0f);
    for (const ScaleEntry& e : entries) {
        if (e.type == 1)
            out.push_back(float(std::log(double(e.num) / double(e.den)) * kSemitonesPerLn));
        else
            out.push_back(float(e.cents * 0.01));
    }
    return out;
}

} // namespace torvo
