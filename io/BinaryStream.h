#pragma once
// Little-endian binary records without padding: every stored number is
// written field by field, never as a whole struct, so the layout does not
// depend on the compiler or on the width of `long`.
//
// BinaryReader reads from memory and checks every read against the bytes
// left. The first failure is sticky: later reads return false and give
// zeros, so a record reader may read on and test `failed()` once at the end.
// Damaged or hostile files therefore end in a message, never past the end.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace io {

class BinaryWriter {
public:
    void u8(uint8_t v) { bytes_.push_back(v); }
    void boolean(bool v) { bytes_.push_back(v ? 1 : 0); }
    void u32(uint32_t v);
    void i32(int32_t v) { u32(static_cast<uint32_t>(v)); }
    void f32(float v);
    void raw(std::span<const uint8_t> data) { bytes_.insert(bytes_.end(), data.begin(), data.end()); }
    // Room for n more bytes, so large bodies are not copied as the buffer grows.
    void reserve(std::size_t n) { bytes_.reserve(bytes_.size() + n); }
    // The bytes of the text without a terminator.
    void text(const std::string& s);

    const std::vector<uint8_t>& bytes() const { return bytes_; }
    std::vector<uint8_t> take() { return std::move(bytes_); }
    std::size_t size() const { return bytes_.size(); }

private:
    std::vector<uint8_t> bytes_;
};

class BinaryReader {
public:
    BinaryReader() = default;
    explicit BinaryReader(std::span<const uint8_t> data) : data_(data) {}

    // Format indices of the file being read (0 when unknown); record readers
    // gate their fields on them.
    int32_t formatIndex = 0;
    int32_t layerFormatIndex = 0;

    bool u8(uint8_t& out);
    bool boolean(bool& out);
    bool u32(uint32_t& out);
    bool i32(int32_t& out);
    bool f32(float& out);
    bool raw(std::span<uint8_t> out);
    // Reads n bytes as text; fails if n is negative or beyond the end.
    bool text(int32_t n, std::string& out);
    bool skip(std::size_t n);
    bool seek(std::size_t position);

    std::size_t position() const { return pos_; }
    std::size_t remaining() const { return failed_ ? 0 : data_.size() - pos_; }
    bool atEnd() const { return remaining() == 0; }

    // A count of records of at least minRecordBytes each that claims more
    // than the rest of the data holds is a damaged file: fail now, before
    // anyone reserves memory for it.
    bool checkCount(int32_t count, std::size_t minRecordBytes);

    bool failed() const { return failed_; }
    const std::string& error() const { return error_; }
    // Marks the stream failed with a reason (the first reason is kept).
    void fail(const std::string& reason);

private:
    bool need(std::size_t n);

    std::span<const uint8_t> data_;
    std::size_t pos_ = 0;
    bool failed_ = false;
    std::string error_;
};

// Reads a whole file into memory for a BinaryReader. False with a reason
// when it cannot be opened or read, or is larger than maxBytes.
bool readWholeFile(const std::string& path, std::vector<uint8_t>& out, std::string& error,
                   std::size_t maxBytes = std::size_t(1) << 32);

} // namespace io
