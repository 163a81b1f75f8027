#include "io/BinaryStream.h"

#include <bit>
#include <cstring>
#include <fstream>

namespace io {

void BinaryWriter::u32(uint32_t v) {
    for (int i = 0; i < 4; ++i) bytes_.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

void BinaryWriter::f32(float v) { u32(std::bit_cast<uint32_t>(v)); }

void BinaryWriter::text(const std::string& s) {
    bytes_.insert(bytes_.end(), s.begin(), s.end());
}

void BinaryReader::fail(const std::string& reason) {
    if (!failed_) error_ = reason;
    failed_ = true;
}

bool BinaryReader::need(std::size_t n) {
    if (failed_) return false;
    if (n > data_.size() - pos_) {
        fail("unexpected end of data at byte " + std::to_string(pos_) + " (wanted " +
             std::to_string(n) + ", " + std::to_string(data_.size() - pos_) + " left)");
        return false;
    }
    return true;
}

bool BinaryReader::u8(uint8_t& out) {
    out = 0;
    if (!need(1)) return false;
    out = data_[pos_++];
    return true;
}

bool BinaryReader::boolean(bool& out) {
    uint8_t b = 0;
    bool ok = u8(b);
    out = b != 0;
    return ok;
}

bool BinaryReader::u32(uint32_t& out) {
    out = 0;
    if (!need(4)) return false;
    for (int i = 0; i < 4; ++i) out |= static_cast<uint32_t>(data_[pos_ + i]) << (8 * i);
    pos_ += 4;
    return true;
}

bool BinaryReader::i32(int32_t& out) {
    uint32_t u = 0;
    bool ok = u32(u);
    out = static_cast<int32_t>(u);
    return ok;
}

bool BinaryReader::f32(float& out) {
    uint32_t u = 0;
    bool ok = u32(u);
    out = std::bit_cast<float>(u);
    return ok;
}

bool BinaryReader::raw(std::span<uint8_t> out) {
    if (out.empty()) return !failed();
    if (!need(out.size())) {
        std::memset(out.data(), 0, out.size());
        return false;
    }
    std::memcpy(out.data(), data_.data() + pos_, out.size());
    pos_ += out.size();
    return true;
}

bool BinaryReader::text(int32_t n, std::string& out) {
    out.clear();
    if (n < 0) {
        fail("negative text length " + std::to_string(n));
        return false;
    }
    if (!need(static_cast<std::size_t>(n))) return false;
    out.assign(reinterpret_cast<const char*>(data_.data() + pos_), static_cast<std::size_t>(n));
    pos_ += static_cast<std::size_t>(n);
    return true;
}

bool BinaryReader::skip(std::size_t n) {
    if (!need(n)) return false;
    pos_ += n;
    return true;
}

bool BinaryReader::seek(std::size_t position) {
    if (failed_) return false;
    if (position > data_.size()) {
        fail("seek to " + std::to_string(position) + " beyond the end (" +
             std::to_string(data_.size()) + " bytes)");
        return false;
    }
    pos_ = position;
    return true;
}

bool BinaryReader::checkCount(int32_t count, std::size_t minRecordBytes) {
    if (failed_) return false;
    if (count < 0) {
        fail("negative record count " + std::to_string(count));
        return false;
    }
    if (minRecordBytes > 0 && static_cast<std::size_t>(count) > remaining() / minRecordBytes) {
        fail("record count " + std::to_string(count) + " does not fit in the " +
             std::to_string(remaining()) + " bytes left");
        return false;
    }
    return true;
}

bool readWholeFile(const std::string& path, std::vector<uint8_t>& out, std::string& error,
                   std::size_t maxBytes) {
    out.clear();
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file) {
        error = "cannot open " + path;
        return false;
    }
    std::streamoff size = file.tellg();
    if (size < 0 || static_cast<std::size_t>(size) > maxBytes) {
        error = "file too large or unreadable: " + path;
        return false;
    }
    out.resize(static_cast<std::size_t>(size));
    file.seekg(0);
    if (size > 0 && !file.read(reinterpret_cast<char*>(out.data()), size)) {
        error = "read error in " + path;
        out.clear();
        return false;
    }
    return true;
}

} // namespace io
