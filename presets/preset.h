#pragma once
// One patch: the 725 normalised parameter values in table order, the fixed legacy fields the
// binary formats carry (name, notes, an integer word) and the descriptive metadata of the JSON
// preset file and the workspace.

#include "shell/paramtable.h"

#include <cstdint>
#include <string>
#include <vector>

namespace torvo {

class Bank;

class Preset {
public:
    static constexpr int kNameBytes = 25;
    static constexpr int kLegacyNotesBytes = 248;

    Preset();
    Preset(const Preset&) = default;
    Preset& operator=(const Preset&) = default;

    virtual void setParam(int index, float value);
    /// Stores `count` values from `firstIndex` on; the part beyond the block is dropped.
    virtual void setParams(const float* values, int count, int firstIndex);
    virtual float* params() { return values; }
    /// Copies the first `count` values (at most 725).
    virtual void copyParamsTo(float* out, int count) const;
    virtual ~Preset() = default;

    virtual void setAuthor(const std::string& text) { authorText = text; }
    virtual void setVendor(const std::string& text) { vendorText = text; }
    virtual void setIcon(const std::string& text) { iconText = text; }
    virtual void setNotes(const std::string& text) { notesText = text; }
    virtual void setTags(const std::vector<std::string>& list) { tagList = list; }
    /// Clears the list, then keeps `text` as its one entry unless it is empty.
    virtual void setSingleTag(const std::string& text);
    virtual void setBank(const std::string& text) { bankText = text; }
    virtual void setFavorite(bool favorite) { favoriteFlag = favorite; }
    virtual void setId(int id) { rowId = id; }
    virtual void setPath(const std::string& text) { pathText = text; }
    virtual void setPathObject(const std::string& text) { pathObjectText = text; }
    virtual void setBankIndex(int index) { indexInBank = index; }
    virtual const std::string& author() const { return authorText; }
    virtual const std::string& vendor() const { return vendorText; }
    virtual const std::string& icon() const { return iconText; }
    virtual const std::string& notes() const { return notesText; }
    virtual const std::vector<std::string>& tags() const { return tagList; }
    virtual const std::string& bank() const { return bankText; }
    virtual bool isFavorite() const { return favoriteFlag; }
    virtual int id() const { return rowId; }
    virtual const std::string& path() const { return pathText; }
    virtual const std::string& pathObject() const { return pathObjectText; }
    virtual int bankIndex() const { return indexInBank; }
    /// Identifies the sound regardless of its name: SHA-256 (hex) of the first 720 values at
    /// three decimals.
    virtual std::string contentHash() const;
    virtual int maxParamCount() const { return kParamCount; }
    virtual void setParamCount(int count) { countFromSource = count; }
    virtual int paramCount() const { return countFromSource; }
    /// Snaps every value to the rows of `bank` by the common rule; the rows stay untouched.
    virtual void snapToTable(Bank& bank);
    /// Takes `name`, the legacy notes field (all of its bytes) and word, and the first `count`
    /// values of `from`, or all of them when `count` is 0.
    virtual void copyLegacyPart(const Preset& from, int count);
    virtual void setName(const std::string& text) { setName(text.c_str()); }
    /// Keeps at most 24 characters: the 25th byte is always the terminator.
    virtual void setName(const char* text);
    /// Copies up to the terminator; bytes behind it stay as they are.
    virtual void setLegacyNotes(const char* text);
    virtual const char* name() const { return nameField; }
    virtual const char* legacyNotes() const { return notesField; }
    virtual int32_t legacyWord() const { return word; }
    virtual void setLegacyWord(int32_t value) { word = value; }
    virtual void setAllParams(const float* source);
    virtual int paramBytes() const { return kParamCount * int(sizeof(float)); }

    /// The whole notes field as the legacy records store it, terminator and what lies behind.
    const char* legacyNotesField() const { return notesField; }
    /// Replaces the whole notes field with `bytes` (248 of them); the last byte is forced to 0.
    void setLegacyNotesField(const char* bytes);
    const float* params() const { return values; }

private:
    char nameField[kNameBytes] = {};
    char notesField[kLegacyNotesBytes] = {};
    int32_t word = 0;
    float values[kParamCount] = {};
    int32_t countFromSource = kParamCount;
    std::string authorText;
    std::string vendorText;
    std::string iconText;
    std::string notesText;
    std::vector<std::string> tagList;
    std::string bankText;
    bool favoriteFlag = false;
    int32_t rowId = -2;
    std::string pathText;
    std::string pathObjectText;
    int32_t indexInBank = -1;
};

} // namespace torvo
