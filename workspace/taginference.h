#pragma once
// Tags for presets of the legacy formats, which carry none: a name such as "BS Growl" or
// "Hard Lead" names its category as a whole word, and the word that stands earliest wins.

#include <map>
#include <string>

namespace torvo {

class TagInference {
public:
    /// Builds the name rules: a lower-case key to its tag, iterated in byte order of the keys.
    TagInference();

    /// The tag of the earliest key that stands as a word in `name`, or an empty text.
    std::string inferTag(const std::string& name) const;
    /// Position at which `key` stands as a word in the lower-case `name`, or -1. Only the first
    /// occurrence of the key is tried in each form.
    static int matchWord(const std::string& name, const std::string& key);

    const std::map<std::string, std::string>& rules() const { return nameRules; }

private:
    std::map<std::string, std::string> nameRules;
};

} // namespace torvo
