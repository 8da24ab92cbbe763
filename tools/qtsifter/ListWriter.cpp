#include "ListWriter.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace qtsifter
{

namespace
{

// Written out whenever the buffer passes this, so that memory stays flat however long the list.
constexpr size_t kFlushBytes = 1 << 16;

} // namespace

// RapidJSON writes numbers straight into its own string buffer without a bounds test per byte;
// the buffer is handed to the output whenever it fills.
class ListWriter::JsonOut
{
public:
    JsonOut() : writer(buffer) {}
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer;
};

ListWriter::ListWriter(bool inJson, std::FILE* inOut) : mJson(inJson), mOut(inOut)
{
    if (mJson)
    {
        mJsonOut = std::make_unique<JsonOut>();
        mJsonOut->writer.StartObject();
    }
}

ListWriter::~ListWriter()
{
    // A list cut short by an exception still shows what was written before it.
    Flush();
}

void ListWriter::Flush()
{
    if (mJsonOut && mJsonOut->buffer.GetSize() != 0)
    {
        std::fwrite(mJsonOut->buffer.GetString(), 1, mJsonOut->buffer.GetSize(), mOut);
        mJsonOut->buffer.Clear();
    }
    if (mBuffer.size() != 0)
        std::fwrite(mBuffer.data(), 1, mBuffer.size(), mOut);
    mBuffer.clear();
}

void ListWriter::FlushIfFull()
{
    if (mBuffer.size() >= kFlushBytes || (mJsonOut && mJsonOut->buffer.GetSize() >= kFlushBytes))
        Flush();
}

namespace
{

void WriteJson(rapidjson::Writer<rapidjson::StringBuffer>& ioWriter, const Cell& inCell)
{
    switch (inCell.kind)
    {
    case Cell::Kind::Unsigned:
    case Cell::Kind::Hex:
        ioWriter.Uint64(inCell.u);
        break;
    case Cell::Kind::Signed:
        ioWriter.Int64(inCell.i);
        break;
    case Cell::Kind::Boolean:
        ioWriter.Bool(inCell.u != 0);
        break;
    case Cell::Kind::Real:
        ioWriter.Double(inCell.d);
        break;
    case Cell::Kind::Text:
        ioWriter.String(inCell.text.data(), rapidjson::SizeType(inCell.text.size()));
        break;
    }
}

void WriteText(fmt::memory_buffer& ioBuffer, const Cell& inCell)
{
    auto out = std::back_inserter(ioBuffer);
    switch (inCell.kind)
    {
    case Cell::Kind::Unsigned:
    {
        const fmt::format_int digits(inCell.u);
        ioBuffer.append(digits.data(), digits.data() + digits.size());
        break;
    }
    case Cell::Kind::Hex:
        fmt::format_to(out, "0x{:02X}", inCell.u);
        break;
    case Cell::Kind::Signed:
    {
        const fmt::format_int digits(inCell.i);
        ioBuffer.append(digits.data(), digits.data() + digits.size());
        break;
    }
    case Cell::Kind::Boolean:
    {
        const std::string_view word = inCell.u != 0 ? "yes" : "no";
        ioBuffer.append(word.data(), word.data() + word.size());
        break;
    }
    case Cell::Kind::Real:
        fmt::format_to(out, "{}", inCell.d);
        break;
    case Cell::Kind::Text:
        ioBuffer.append(inCell.text.data(), inCell.text.data() + inCell.text.size());
        break;
    }
}

} // namespace

void ListWriter::Fact(std::string_view inName, const Cell& inValue)
{
    if (mJson)
    {
        mJsonOut->writer.Key(inName.data(), rapidjson::SizeType(inName.size()));
        WriteJson(mJsonOut->writer, inValue);
    }
    else
    {
        fmt::format_to(std::back_inserter(mBuffer), "{}: ", inName);
        WriteText(mBuffer, inValue);
        mBuffer.push_back('\n');
    }
    FlushIfFull();
}

void ListWriter::BeginList(std::string_view inName, std::span<const std::string_view> inColumns)
{
    mColumns = inColumns;
    if (mJson)
    {
        mJsonOut->writer.Key(inName.data(), rapidjson::SizeType(inName.size()));
        mJsonOut->writer.StartArray();
        return;
    }
    fmt::format_to(std::back_inserter(mBuffer), "{}:\n", inName);
    for (size_t column = 0; column < inColumns.size(); ++column)
        fmt::format_to(std::back_inserter(mBuffer), "{}{}", column == 0 ? "" : "\t", inColumns[column]);
    mBuffer.push_back('\n');
}

void ListWriter::Row(std::span<const Cell> inCells)
{
    if (mJson)
    {
        auto& writer = mJsonOut->writer;
        writer.StartObject();
        for (size_t column = 0; column < inCells.size() && column < mColumns.size(); ++column)
        {
            writer.Key(mColumns[column].data(), rapidjson::SizeType(mColumns[column].size()));
            WriteJson(writer, inCells[column]);
        }
        writer.EndObject();
    }
    else
    {
        for (size_t column = 0; column < inCells.size(); ++column)
        {
            if (column != 0)
                mBuffer.push_back('\t');
            WriteText(mBuffer, inCells[column]);
        }
        mBuffer.push_back('\n');
    }
    FlushIfFull();
}

void ListWriter::EndList()
{
    if (mJson)
        mJsonOut->writer.EndArray();
    mColumns = {};
}

void ListWriter::Finish()
{
    if (mJson && !mFinished)
    {
        mJsonOut->writer.EndObject();
        mJsonOut->buffer.Put('\n');
    }
    mFinished = true;
    Flush();
    std::fflush(mOut);
}

} // namespace qtsifter
