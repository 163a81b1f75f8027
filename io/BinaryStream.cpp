#include "io/BinaryStream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <cstring>
#include <fstream>

namespace io {

BinaryWriter::BinaryWriter(ByteSink& sink, std::size_t bufferBytes)
    : bytes_(std::max<std::size_t>(bufferBytes, 1)), sink_(&sink), limit_(bytes_.size()) {}

void BinaryWriter::makeRoom(std::size_t n) {
    if (sink_) {
        flush();
        if (bytes_.size() < n) bytes_.resize(n);
        return;
    }
    bytes_.resize(std::max(used_ + n, bytes_.size() * 2 + 256));
}

void BinaryWriter::reserve(std::size_t n) {
    if (sink_ || used_ + n <= bytes_.size()) return;
    bytes_.reserve(used_ + n);
    bytes_.resize(bytes_.capacity());
}

void BinaryWriter::f32(float v) { u32(std::bit_cast<uint32_t>(v)); }

void BinaryWriter::raw(std::span<const uint8_t> data) {
    if (sink_ && data.size() >= limit_ / 2) {
        // Large blocks (layer pixels) go out as they are, without a copy.
        flush();
        if (!failed_ && !data.empty() && !sink_->write(data.data(), data.size())) failed_ = true;
        flushed_ += data.size();
        return;
    }
    if (!data.empty()) put(data.data(), data.size());
}

void BinaryWriter::zeros(std::size_t n) {
    static const uint8_t kZeros[64 * 1024] = {};
    while (n > 0) {
        const std::size_t part = std::min(n, sizeof kZeros);
        raw(std::span(kZeros, part));
        n -= part;
    }
}

void BinaryWriter::text(const std::string& s) {
    raw(std::span(reinterpret_cast<const uint8_t*>(s.data()), s.size()));
}

bool BinaryWriter::flush() {
    if (!sink_) return !failed_;
    if (used_ > 0 && !failed_ && !sink_->write(bytes_.data(), used_)) failed_ = true;
    flushed_ += used_;
    used_ = 0;
    return !failed_;
}

BinaryReader::BinaryReader(ByteSource& source, std::size_t bufferBytes)
    : total_(source.size()), source_(&source), buffer_(std::max<std::size_t>(bufferBytes, 1)) {}

void BinaryReader::fail(const std::string& reason) {
    if (!failed_) error_ = reason;
    failed_ = true;
}

void BinaryReader::dropWindow(std::size_t offset) {
    base_ = offset;
    pos_ = 0;
    data_ = {};
}

bool BinaryReader::needSlow(std::size_t n) {
    if (failed_) return false;
    const std::size_t at = position();
    if (n > total_ - at) {
        fail("unexpected end of data at byte " + std::to_string(at) + " (wanted " + std::to_string(n) + ", " +
             std::to_string(total_ - at) + " left)");
        return false;
    }
    if (!source_) return true; // in memory the window is the whole data
    // Refill: the unread rest of the window moves to the front of the buffer.
    const std::size_t keep = data_.size() - pos_;
    if (buffer_.size() < n) {
        std::vector<uint8_t> bigger(n);
        if (keep > 0) std::memcpy(bigger.data(), data_.data() + pos_, keep);
        buffer_.swap(bigger);
    } else if (keep > 0) {
        std::memmove(buffer_.data(), data_.data() + pos_, keep);
    }
    const std::size_t fetch = std::min(buffer_.size() - keep, total_ - at - keep);
    if (!source_->readAt(at + keep, buffer_.data() + keep, fetch)) {
        fail("read error at byte " + std::to_string(at + keep));
        return false;
    }
    base_ = at;
    pos_ = 0;
    data_ = std::span<const uint8_t>(buffer_.data(), keep + fetch);
    return true;
}

bool BinaryReader::raw(std::span<uint8_t> out) {
    if (out.empty()) return !failed();
    const std::size_t window = data_.size() - pos_;
    if (failed_ || out.size() > remaining()) {
        if (!failed_) need(out.size()); // fails with the reason
        std::memset(out.data(), 0, out.size());
        return false;
    }
    if (out.size() <= window) {
        std::memcpy(out.data(), data_.data() + pos_, out.size());
        pos_ += out.size();
        return true;
    }
    // Beyond the window (streaming only): the rest comes straight from the source.
    if (window > 0) std::memcpy(out.data(), data_.data() + pos_, window);
    const std::size_t at = position() + window;
    if (!source_->readAt(at, out.data() + window, out.size() - window)) {
        fail("read error at byte " + std::to_string(at));
        std::memset(out.data(), 0, out.size());
        return false;
    }
    dropWindow(at + out.size() - window);
    return true;
}

std::span<const uint8_t> BinaryReader::block(std::size_t n, std::vector<uint8_t>& scratch) {
    if (n == 0 || failed_) return {};
    if (n > remaining()) {
        need(n); // fails with the reason
        return {};
    }
    if (!source_ || n <= buffer_.size()) {
        if (!need(n)) return {};
        const std::span<const uint8_t> view = data_.subspan(pos_, n);
        pos_ += n;
        return view;
    }
    // Larger than the window: straight from the source into scratch.
    scratch.resize(n);
    if (!raw(scratch)) return {};
    return scratch;
}

bool BinaryReader::text(int32_t n, std::string& out) {
    out.clear();
    if (n < 0) {
        fail("negative text length " + std::to_string(n));
        return false;
    }
    if (static_cast<std::size_t>(n) > remaining()) return need(static_cast<std::size_t>(n));
    out.resize(static_cast<std::size_t>(n));
    if (raw(std::span(reinterpret_cast<uint8_t*>(out.data()), out.size()))) return true;
    out.clear();
    return false;
}

bool BinaryReader::skip(std::size_t n) {
    if (failed_ || n > remaining()) return need(n);
    if (n <= data_.size() - pos_) pos_ += n;
    else dropWindow(position() + n);
    return true;
}

bool BinaryReader::seek(std::size_t position) {
    if (failed_) return false;
    if (position > total_) {
        fail("seek to " + std::to_string(position) + " beyond the end (" + std::to_string(total_) +
             " bytes)");
        return false;
    }
    if (position >= base_ && position - base_ <= data_.size()) pos_ = position - base_;
    else dropWindow(position);
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

FileSource::~FileSource() {
    if (fd_ >= 0) ::close(fd_);
}

bool FileSource::open(const std::string& path, std::string& error) {
    if (fd_ >= 0) ::close(fd_);
    size_ = 0;
    fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info {};
    if (fd_ < 0 || ::fstat(fd_, &info) != 0 || !S_ISREG(info.st_mode)) {
        error = "cannot open " + path + (fd_ < 0 ? std::string(": ") + std::strerror(errno) : std::string());
        if (fd_ >= 0) ::close(fd_);
        fd_ = -1;
        return false;
    }
    size_ = static_cast<std::size_t>(info.st_size);
    return true;
}

bool FileSource::readAt(std::size_t offset, uint8_t* out, std::size_t n) {
    while (n > 0) {
        const ssize_t got = ::pread(fd_, out, n, static_cast<off_t>(offset));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        out += got;
        offset += static_cast<std::size_t>(got);
        n -= static_cast<std::size_t>(got);
    }
    return true;
}

AtomicFileSink::~AtomicFileSink() { discard(); }

bool AtomicFileSink::open(const std::string& path) {
    discard();
    path_ = path;
    error_.clear();
    // Beside the target, so that the rename stays on one file system.
    static std::atomic<unsigned> counter{0};
    for (int attempt = 0; attempt < 100 && fd_ < 0; ++attempt) {
        temporary_ = path + ".part" + std::to_string(::getpid()) + "-" + std::to_string(counter++);
        fd_ = ::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd_ < 0 && errno != EEXIST) break;
    }
    if (fd_ < 0) {
        error_ = "cannot create " + temporary_ + ": " + std::strerror(errno);
        temporary_.clear();
        return false;
    }
    return true;
}

bool AtomicFileSink::write(const uint8_t* data, std::size_t n) {
    if (fd_ < 0 || !error_.empty()) return false;
    while (n > 0) {
        const ssize_t done = ::write(fd_, data, n);
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) {
            error_ = "cannot write " + path_ + ": " + std::strerror(done < 0 ? errno : ENOSPC);
            return false;
        }
        data += done;
        n -= static_cast<std::size_t>(done);
    }
    return true;
}

int64_t AtomicFileSink::seek(int64_t offset, int whence) {
    if (fd_ < 0 || !error_.empty()) return -1;
    const off_t at = ::lseek(fd_, static_cast<off_t>(offset), whence);
    if (at < 0) {
        error_ = "cannot seek in " + path_ + ": " + std::strerror(errno);
        return -1;
    }
    return static_cast<int64_t>(at);
}

bool AtomicFileSink::commit() {
    if (fd_ < 0) {
        if (error_.empty()) error_ = "no file open for " + path_;
        return false;
    }
    // On the disk before the rename: a crash right after it must not leave
    // the new name pointing at data the system had not written yet.
    if (error_.empty() && ::fsync(fd_) != 0) error_ = "cannot write " + path_ + ": " + std::strerror(errno);
    if (error_.empty() && ::close(fd_) != 0) error_ = "cannot write " + path_ + ": " + std::strerror(errno);
    else if (!error_.empty()) ::close(fd_);
    fd_ = -1;
    if (error_.empty() && ::rename(temporary_.c_str(), path_.c_str()) != 0)
        error_ = "cannot replace " + path_ + ": " + std::strerror(errno);
    if (!error_.empty()) {
        ::unlink(temporary_.c_str());
        temporary_.clear();
        return false;
    }
    temporary_.clear();
    return true;
}

void AtomicFileSink::discard() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
    if (!temporary_.empty()) ::unlink(temporary_.c_str());
    temporary_.clear();
}

bool writeWholeFile(const std::string& path, std::span<const uint8_t> bytes, std::string& error) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0) {
        error = "cannot create " + path + ": " + std::strerror(errno);
        return false;
    }
    const uint8_t* data = bytes.data();
    std::size_t left = bytes.size();
    while (left > 0) {
        const ssize_t done = ::write(fd, data, left);
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) {
            error = "cannot write " + path + ": " + std::strerror(done < 0 ? errno : ENOSPC);
            ::close(fd);
            return false;
        }
        data += done;
        left -= static_cast<std::size_t>(done);
    }
    if (::close(fd) != 0) {
        error = "cannot write " + path + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

bool syncFileToDisk(const std::string& path, std::string& error) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        error = "cannot open " + path + ": " + std::strerror(errno);
        return false;
    }
    const bool ok = ::fsync(fd) == 0;
    if (!ok) error = "cannot write " + path + ": " + std::strerror(errno);
    ::close(fd);
    return ok;
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
