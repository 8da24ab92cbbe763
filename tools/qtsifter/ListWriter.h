#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include <fmt/format.h>

namespace qtsifter
{

// One value of a fact or of a list cell.
struct Cell
{
    enum class Kind
    {
        Unsigned,
        Hex, // a number in JSON, "0x20" in text
        Signed,
        Boolean,
        Real,
        Text
    };
    Kind kind = Kind::Unsigned;
    uint64_t u = 0;
    int64_t i = 0;
    double d = 0;
    std::string_view text;

    static Cell Unsigned(uint64_t inValue) { return {Kind::Unsigned, inValue, 0, 0, {}}; }
    static Cell Hex(uint64_t inValue) { return {Kind::Hex, inValue, 0, 0, {}}; }
    static Cell Signed(int64_t inValue) { return {Kind::Signed, 0, inValue, 0, {}}; }
    static Cell Boolean(bool inValue) { return {Kind::Boolean, inValue ? 1u : 0u, 0, 0, {}}; }
    static Cell Real(double inValue) { return {Kind::Real, 0, 0, inValue, {}}; }
    static Cell Text(std::string_view inValue) { return {Kind::Text, 0, 0, 0, inValue}; }
};

// The output of a long list, written as it is produced rather than built in memory first: one JSON
// object (RapidJSON's Writer) or readable text ({fmt}), from the same calls. Facts are the object's
// keys, or "name: value" lines; a list is an array of objects keyed by the column names, or a table
// with one header line.
class ListWriter
{
public:
    ListWriter(bool inJson, std::FILE* inOut);
    ~ListWriter();
    ListWriter(const ListWriter&) = delete;
    ListWriter& operator=(const ListWriter&) = delete;

    void Fact(std::string_view inName, const Cell& inValue);
    void BeginList(std::string_view inName, std::span<const std::string_view> inColumns);
    void Row(std::span<const Cell> inCells);
    void EndList();
    // Closes the object and writes out what is left.
    void Finish();

private:
    class JsonOut;
    void FlushIfFull();
    void Flush();

    bool mJson;
    std::FILE* mOut;
    fmt::memory_buffer mBuffer;
    std::unique_ptr<JsonOut> mJsonOut;
    std::span<const std::string_view> mColumns;
    bool mFinished = false;
};

} // namespace qtsifter
