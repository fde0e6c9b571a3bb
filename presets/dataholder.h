#pragma once
// An object that can be filled from a file through its own parser: tuning scales and generated
// presets derive from it. loadFile reads the whole file and hands the bytes to parse; the two
// integer arguments and the path are passed through for the parser's own use.

#include <cstddef>
#include <cstdint>
#include <string>

namespace torvo {

class DataHolder {
public:
    DataHolder() = default;
    DataHolder(const DataHolder&) = default;
    DataHolder& operator=(const DataHolder&) = default;

    virtual void reset() {}
    virtual int formatVersion() const { return 0; }
    virtual bool isModified() const { return false; }
    virtual void setModified(bool) {}
    virtual bool parse(const uint8_t* bytes, std::size_t size, int a, int b,
                       const std::string& path) = 0;
    /// The holder's content as text, in the holder's own format.
    virtual std::string serialize() const = 0;
    virtual std::string displayName() const { return {}; }
    virtual std::string description() const { return {}; }
    virtual std::string author() const { return {}; }
    virtual std::string sourcePath() const { return {}; }
    virtual std::string errorText() const { return {}; }
    virtual bool isValid() const { return true; }
    virtual void clear() = 0;
    virtual ~DataHolder() = default;
    /// False when the file cannot be read; otherwise what parse answers.
    virtual bool loadFile(const std::string& path, int a, int b);
};

} // namespace torvo
