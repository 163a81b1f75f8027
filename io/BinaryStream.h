#pragma once
// Little-endian binary records without padding: every stored number is
// written field by field, never as a whole struct, so the layout does not
// depend on the compiler or on the width of `long`.
//
// BinaryReader reads from memory and checks every read against the bytes
// left. The first failure is sticky: later reads return false and give
// zeros, so a record reader may read on and test `failed()` once at the end.
// Damaged or hostile files therefore end in a message, never past the end.
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <string>
#include <vector>

namespace io {

// The little-endian 32-bit number at p, for decode loops over a block
// (BinaryReader::block). On a little-endian machine this is one load.
inline uint32_t loadU32(const uint8_t* p) {
    if constexpr (std::endian::native == std::endian::little) {
        uint32_t v;
        std::memcpy(&v, p, 4);
        return v;
    } else {
        return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
               static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
    }
}
// Stores v at p as little-endian bytes, for encode loops into a block.
inline void storeU32(uint8_t* p, uint32_t v) {
    if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(p, &v, 4);
    } else {
        p[0] = static_cast<uint8_t>(v);
        p[1] = static_cast<uint8_t>(v >> 8);
        p[2] = static_cast<uint8_t>(v >> 16);
        p[3] = static_cast<uint8_t>(v >> 24);
    }
}
inline void storeF32(uint8_t* p, float v) { storeU32(p, std::bit_cast<uint32_t>(v)); }
inline float loadF32(const uint8_t* p) {
    static_assert(sizeof(float) == 4 && std::numeric_limits<float>::is_iec559, "stored floats are IEEE singles");
    return std::bit_cast<float>(loadU32(p));
}

// Where a streaming BinaryWriter sends its bytes.
class ByteSink {
public:
    virtual ~ByteSink() = default;
    // False on a write error; the writer then stops writing.
    virtual bool write(const uint8_t* data, std::size_t n) = 0;
};

// Random-access bytes for a streaming BinaryReader (a file, read with pread).
class ByteSource {
public:
    virtual ~ByteSource() = default;
    virtual std::size_t size() const = 0;
    // Exactly n bytes at offset; false on a read error or a short read.
    virtual bool readAt(std::size_t offset, uint8_t* out, std::size_t n) = 0;
};

class BinaryWriter {
public:
    // Collects the bytes in memory (bytes(), take()).
    BinaryWriter() = default;
    // Streams to the sink through a buffer of about bufferBytes; large raw
    // blocks go to the sink directly. Call flush() at the end.
    explicit BinaryWriter(ByteSink& sink, std::size_t bufferBytes = std::size_t(1) << 20);
    BinaryWriter(const BinaryWriter&) = delete;
    BinaryWriter& operator=(const BinaryWriter&) = delete;

    void u8(uint8_t v) {
        if (used_ == bytes_.size()) makeRoom(1);
        bytes_[used_++] = v;
    }
    void boolean(bool v) { u8(v ? 1 : 0); }
    void u32(uint32_t v) {
        uint8_t b[4];
        storeU32(b, v);
        put(b, 4);
    }
    void i32(int32_t v) { u32(static_cast<uint32_t>(v)); }
    void f32(float v);
    void raw(std::span<const uint8_t> data);
    // n zero bytes.
    void zeros(std::size_t n);
    // Room for n more bytes, so large bodies are not copied as the buffer
    // grows; nothing to do when streaming.
    void reserve(std::size_t n);
    // The bytes of the text without a terminator.
    void text(const std::string& s);

    // Sends what is buffered to the sink. False once any write failed.
    bool flush();
    bool failed() const { return failed_; }

    // In memory: everything written. Streaming: what is not yet flushed.
    const std::vector<uint8_t>& bytes() const {
        bytes_.resize(used_);
        return bytes_;
    }
    std::vector<uint8_t> take() {
        bytes_.resize(used_);
        used_ = 0;
        return std::move(bytes_);
    }
    // Bytes written so far, flushed or not.
    std::size_t size() const { return flushed_ + used_; }

private:
    void put(const uint8_t* data, std::size_t n) {
        if (n > bytes_.size() - used_) makeRoom(n);
        std::memcpy(bytes_.data() + used_, data, n);
        used_ += n;
    }
    // Flushes (streaming) or grows (in memory) so that n more bytes fit.
    void makeRoom(std::size_t n);

    // bytes_[0, used_) is written; the rest of bytes_ is room to write into.
    mutable std::vector<uint8_t> bytes_;
    std::size_t used_ = 0;
    ByteSink* sink_ = nullptr;
    std::size_t limit_ = 0;
    std::size_t flushed_ = 0;
    bool failed_ = false;
};

class BinaryReader {
public:
    BinaryReader() = default;
    explicit BinaryReader(std::span<const uint8_t> data) : data_(data), total_(data.size()) {}
    // Reads the source through a window of about bufferBytes; large raw
    // reads go from the source straight into their destination.
    explicit BinaryReader(ByteSource& source, std::size_t bufferBytes = std::size_t(1) << 20);
    BinaryReader(const BinaryReader&) = delete;
    BinaryReader& operator=(const BinaryReader&) = delete;

    // Format indices of the file being read (0 when unknown); record readers
    // gate their fields on them.
    int32_t formatIndex = 0;
    int32_t layerFormatIndex = 0;

    bool u8(uint8_t& out) {
        out = 0;
        if (!need(1)) return false;
        out = data_[pos_++];
        return true;
    }
    bool boolean(bool& out) {
        uint8_t b = 0;
        const bool ok = u8(b);
        out = b != 0;
        return ok;
    }
    bool u32(uint32_t& out) {
        out = 0;
        if (!need(4)) return false;
        out = loadU32(data_.data() + pos_);
        pos_ += 4;
        return true;
    }
    bool i32(int32_t& out) {
        uint32_t u = 0;
        const bool ok = u32(u);
        out = static_cast<int32_t>(u);
        return ok;
    }
    bool f32(float& out) {
        uint32_t u = 0;
        const bool ok = u32(u);
        out = std::bit_cast<float>(u);
        return ok;
    }
    bool raw(std::span<uint8_t> out);
    // The next n bytes, to decode in place: a view of the window when they
    // fit in it (always, reading from memory), else read into scratch. Empty
    // when fewer than n bytes are left (the reader is failed then). The view
    // lasts until the next read.
    std::span<const uint8_t> block(std::size_t n, std::vector<uint8_t>& scratch);
    // Reads n bytes as text; fails if n is negative or beyond the end.
    bool text(int32_t n, std::string& out);
    bool skip(std::size_t n);
    bool seek(std::size_t position);

    std::size_t position() const { return base_ + pos_; }
    std::size_t remaining() const { return failed_ ? 0 : total_ - position(); }
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
    bool need(std::size_t n) {
        if (!failed_ && n <= data_.size() - pos_) return true;
        return needSlow(n);
    }
    bool needSlow(std::size_t n);
    // Moves the window to start at the absolute offset, empty.
    void dropWindow(std::size_t offset);

    std::span<const uint8_t> data_; // the whole data, or the window over buffer_
    std::size_t pos_ = 0;           // in data_
    std::size_t base_ = 0;          // absolute offset of data_[0]
    std::size_t total_ = 0;
    ByteSource* source_ = nullptr;
    std::vector<uint8_t> buffer_;
    bool failed_ = false;
    std::string error_;
};

// A file read with pread; the size is taken at open.
class FileSource : public ByteSource {
public:
    FileSource() = default;
    ~FileSource() override;
    FileSource(const FileSource&) = delete;
    FileSource& operator=(const FileSource&) = delete;
    // False with a reason when it cannot be opened.
    bool open(const std::string& path, std::string& error);
    std::size_t size() const override { return size_; }
    bool readAt(std::size_t offset, uint8_t* out, std::size_t n) override;

private:
    int fd_ = -1;
    std::size_t size_ = 0;
};

// A file written beside its final path under a temporary name and renamed
// into place by commit(), so that a failed write (a full disk) leaves the
// file that was there untouched. Dropped without commit(), the temporary
// file is removed.
class AtomicFileSink : public ByteSink {
public:
    AtomicFileSink() = default;
    ~AtomicFileSink() override;
    AtomicFileSink(const AtomicFileSink&) = delete;
    AtomicFileSink& operator=(const AtomicFileSink&) = delete;
    bool open(const std::string& path);
    bool write(const uint8_t* data, std::size_t n) override;
    // Moves the write position (lseek's whence); the new position, or -1
    // (reason in error()). Muxers go back to fill in sizes.
    int64_t seek(int64_t offset, int whence);
    // Closes and renames; false (reason in error()) if anything failed.
    bool commit();
    const std::string& error() const { return error_; }

private:
    void discard();

    int fd_ = -1;
    std::string path_, temporary_, error_;
};

// Writes bytes as the whole file at path (created or truncated), checking
// every write and the close; false with a reason (a full disk) otherwise.
// No rename: for encoders handed a temporary name by their caller.
bool writeWholeFile(const std::string& path, std::span<const uint8_t> bytes, std::string& error);

// Makes the system write a finished file to the disk (fsync); false with a
// reason when it cannot. For files written by libraries before their rename.
bool syncFileToDisk(const std::string& path, std::string& error);

// Reads a whole file into memory for a BinaryReader. False with a reason
// when it cannot be opened or read, or is larger than maxBytes.
bool readWholeFile(const std::string& path, std::vector<uint8_t>& out, std::string& error,
                   std::size_t maxBytes = std::size_t(1) << 32);

} // namespace io
