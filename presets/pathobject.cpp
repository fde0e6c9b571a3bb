#include "presets/pathobject.h"

#include "presets/jsonnumbers.h"

namespace torvo {

std::string PathObject::toText() const {
    OrderedJson o = OrderedJson::object();
    o["name"] = name;
    o["type"] = type;
    o["index"] = index;
    o["rel_path"] = relPath;
    o["filename"] = filename;
    o["factory"] = factory;
    o["id"] = id;
    return dumpJson(o);
}

bool PathObject::parse(const std::string& text) {
    const OrderedJson o = OrderedJson::parse(text, nullptr, false);
    if (!o.is_object()) return false;
    long long number = 0;
    auto integer = [&o, &number](const char* key) {
        const auto it = o.find(key);
        return it != o.end() && readInteger(*it, number);
    };
    auto string = [&o](const char* key, std::string& out) {
        const auto it = o.find(key);
        if (it != o.end()) readText(*it, out);
    };
    string("name", name);
    if (integer("type")) type = int(number);
    if (integer("index")) index = int(number);
    string("rel_path", relPath);
    string("filename", filename);
    if (integer("factory")) factory = int(number);
    hasId = integer("id");
    id = hasId ? int(number) : -1;
    return true;
}

} // namespace torvo
