#include "io/VideoWriter.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "io/BinaryStream.h"

namespace io {

namespace {

constexpr int kIoBufferSize = 1 << 16;
// Frames waiting for the worker: enough to even out the encoder's pace,
// few enough that an abort is quick and memory stays small (3 x 6 MB at 1080p).
constexpr std::size_t kQueueDepth = 3;

std::string avError(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return text;
}

#if LIBAVFORMAT_VERSION_MAJOR >= 61
int writeToSink(void* opaque, const uint8_t* data, int size) {
#else
int writeToSink(void* opaque, uint8_t* data, int size) {
#endif
    auto* sink = static_cast<AtomicFileSink*>(opaque);
    return sink->write(data, static_cast<std::size_t>(size)) ? size : AVERROR(EIO);
}

int64_t seekInSink(void* opaque, int64_t offset, int whence) {
    auto* sink = static_cast<AtomicFileSink*>(opaque);
    if (whence & AVSEEK_SIZE) return -1; // the muxers do without the size
    const int64_t at = sink->seek(offset, whence & ~AVSEEK_FORCE);
    return at < 0 ? AVERROR(EIO) : at;
}

} // namespace

struct VideoWriter::State {
    AtomicFileSink sink;
    AVIOContext* io = nullptr;
    AVFormatContext* format = nullptr;
    AVCodecContext* codec = nullptr;
    AVStream* stream = nullptr;
    SwsContext* scaler = nullptr;
    AVFrame* frame = nullptr;
    AVPacket* packet = nullptr;
    bool headerWritten = false;
    int32_t width = 0, height = 0;

    // The worker's queue: frames in order, and buffers to reuse.
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::pair<int32_t, std::vector<uint8_t>>> queue;
    std::vector<std::vector<uint8_t>> spare;
    bool stopping = false;
    bool workerFailed = false;
    std::string workerError;
    std::thread worker;

    ~State() {
        stopWorker();
        av_packet_free(&packet);
        av_frame_free(&frame);
        sws_freeContext(scaler);
        avcodec_free_context(&codec);
        if (format) {
            format->pb = nullptr; // ours, freed below
            avformat_free_context(format);
        }
        if (io) {
            av_freep(&io->buffer);
            avio_context_free(&io);
        }
        // The sink's destructor removes the temporary file unless it was committed.
    }

    void stopWorker() {
        {
            std::lock_guard<std::mutex> lock(mutex);
            stopping = true;
        }
        changed.notify_all();
        if (worker.joinable()) worker.join();
    }

    // Sends a frame (null: the end) and writes every packet the encoder gives back.
    int encode(AVFrame* input) {
        int r = avcodec_send_frame(codec, input);
        if (r < 0) return r;
        for (;;) {
            r = avcodec_receive_packet(codec, packet);
            if (r == AVERROR(EAGAIN) || r == AVERROR_EOF) return 0;
            if (r < 0) return r;
            av_packet_rescale_ts(packet, codec->time_base, stream->time_base);
            packet->stream_index = stream->index;
            r = av_interleaved_write_frame(format, packet); // takes the packet's data
            if (r < 0) return r;
        }
    }

    // One BGR bottom-up frame through swscale into the encoder.
    int encodeBgr(int32_t number, const uint8_t* pixels) {
        int r = av_frame_make_writable(frame);
        if (r < 0) return r;
        const int stride = VideoWriter::frameStride(width);
        // Bottom-up rows: start at the top row and walk backwards.
        const uint8_t* source[1] = {pixels + static_cast<std::size_t>(stride) * static_cast<std::size_t>(height - 1)};
        const int sourceStride[1] = {-stride};
        sws_scale(scaler, source, sourceStride, 0, height, frame->data, frame->linesize);
        frame->pts = number;
        return encode(frame);
    }

    void run() {
        for (;;) {
            std::pair<int32_t, std::vector<uint8_t>> job;
            {
                std::unique_lock<std::mutex> lock(mutex);
                changed.wait(lock, [this] { return stopping || !queue.empty(); });
                if (queue.empty()) return; // stopping, nothing left
                job = std::move(queue.front());
                queue.pop_front();
            }
            const int r = workerFailed ? 0 : encodeBgr(job.first, job.second.data());
            {
                std::lock_guard<std::mutex> lock(mutex);
                if (r < 0 && !workerFailed) {
                    workerFailed = true;
                    // A refused write says more than the muxer's "I/O error".
                    workerError = !sink.error().empty() ? sink.error()
                                                        : "cannot encode frame " + std::to_string(job.first) + ": " +
                                                              avError(r);
                }
                spare.push_back(std::move(job.second));
            }
            changed.notify_all();
        }
    }
};

VideoWriter::VideoWriter() = default;

VideoWriter::~VideoWriter() { abort(); }

uint32_t VideoWriter::fail(const std::string& reason) {
    latched = true;
    if (state) {
        std::lock_guard<std::mutex> lock(state->mutex);
        if (state->workerError.empty()) state->workerError = reason;
    } else {
        openError = reason;
    }
    return kVideoLatchedError;
}

std::string VideoWriter::error() const {
    if (!state) return openError;
    std::lock_guard<std::mutex> lock(state->mutex);
    return state->workerError;
}

bool VideoWriter::encoderAvailable(VideoContainer container) {
    if (container == VideoContainer::Avi) return avcodec_find_encoder_by_name("mpeg4") != nullptr;
    return avcodec_find_encoder_by_name("libx264") != nullptr;
}

bool VideoWriter::open(const std::string& path) {
    abort();
    // The libraries' notes (encoder banners, statistics) would fill standard
    // error; real errors still come through.
    static const bool quiet = [] {
        av_log_set_level(AV_LOG_ERROR);
        return true;
    }();
    (void)quiet;
    latched = false;
    openError.clear();
    frames = 0;
    auto s = std::make_unique<State>();
    if (!s->sink.open(path)) {
        openError = s->sink.error();
        return false;
    }
    state = std::move(s);
    return true;
}

uint32_t VideoWriter::setUp(VideoContainer container, int32_t width, int32_t height, int32_t fps) {
    if (!state) return kVideoNoWriter;
    if (latched) return kVideoLatchedError;
    if (state->codec) return kVideoAlreadySetUp;
    State& s = *state;
    // The encoders work on 2 x 2 chroma blocks: even sizes only.
    if (width <= 0 || height <= 0 || width % 2 || height % 2 || width > 8192 || height > 8192 || fps <= 0 ||
        fps > 1000)
        return fail("unsupported frame size or rate: " + std::to_string(width) + " x " + std::to_string(height) +
                    " at " + std::to_string(fps) + " fps");
    s.width = width;
    s.height = height;
    framePeriod = 1000 / fps;

    const bool avi = container == VideoContainer::Avi;
    const AVCodec* encoder = avcodec_find_encoder_by_name(avi ? "mpeg4" : "libx264");
    if (!encoder) return fail(avi ? "no MPEG-4 encoder in this FFmpeg" : "no H.264 encoder (libx264) in this FFmpeg");

    int r = avformat_alloc_output_context2(&s.format, nullptr, avi ? "avi" : "mp4", nullptr);
    if (r < 0 || !s.format) return fail("cannot make the " + std::string(avi ? "AVI" : "MP4") + " container: " + avError(r));
    auto* buffer = static_cast<unsigned char*>(av_malloc(kIoBufferSize));
    if (!buffer) return fail("out of memory");
    s.io = avio_alloc_context(buffer, kIoBufferSize, 1, &s.sink, nullptr, writeToSink, seekInSink);
    if (!s.io) {
        av_free(buffer);
        return fail("out of memory");
    }
    s.format->pb = s.io;
    s.format->flags |= AVFMT_FLAG_CUSTOM_IO;

    s.stream = avformat_new_stream(s.format, nullptr);
    s.codec = avcodec_alloc_context3(encoder);
    if (!s.stream || !s.codec) return fail("out of memory");
    AVCodecContext& c = *s.codec;
    c.width = width;
    c.height = height;
    c.time_base = AVRational{framePeriod, 1000};
    c.framerate = AVRational{1000, framePeriod};
    c.pix_fmt = AV_PIX_FMT_YUV420P;
    c.gop_size = fps; // a key frame every second of film
    c.max_b_frames = 0;
    if (avi) {
        // Fixed quantiser 2: the last frame stays close to the picture.
        c.flags |= AV_CODEC_FLAG_QSCALE;
        c.global_quality = FF_QP2LAMBDA * 2;
        c.codec_tag = MKTAG('D', 'I', 'V', 'X');
        c.thread_count = 2;
    } else {
        av_opt_set(c.priv_data, "preset", "veryfast", 0);
        av_opt_set(c.priv_data, "crf", "18", 0);
        c.thread_count = 2;
    }
    if (s.format->oformat->flags & AVFMT_GLOBALHEADER) c.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    r = avcodec_open2(s.codec, encoder, nullptr);
    if (r < 0) return fail("cannot open the encoder: " + avError(r));
    r = avcodec_parameters_from_context(s.stream->codecpar, s.codec);
    if (r < 0) return fail("cannot describe the stream: " + avError(r));
    if (avi) s.stream->codecpar->codec_tag = MKTAG('D', 'I', 'V', 'X');
    s.stream->time_base = c.time_base;
    s.stream->avg_frame_rate = c.framerate;
    r = avformat_write_header(s.format, nullptr);
    if (r < 0) return fail("cannot write the file header: " + avError(r));
    s.headerWritten = true;

    s.scaler = sws_getContext(width, height, AV_PIX_FMT_BGR24, width, height, AV_PIX_FMT_YUV420P,
                              SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP,
                              nullptr, nullptr, nullptr);
    s.frame = av_frame_alloc();
    s.packet = av_packet_alloc();
    if (!s.scaler || !s.frame || !s.packet) return fail("out of memory");
    s.frame->format = AV_PIX_FMT_YUV420P;
    s.frame->width = width;
    s.frame->height = height;
    r = av_frame_get_buffer(s.frame, 0);
    if (r < 0) return fail("out of memory for a frame: " + avError(r));
    s.worker = std::thread([&s] { s.run(); });
    return kVideoOk;
}

uint32_t VideoWriter::writeFrame(int32_t frameNumber, const uint8_t* pixels, std::size_t bytes) {
    if (!state) return kVideoNoWriter;
    if (latched) return kVideoLatchedError;
    if (!state->codec || !state->worker.joinable()) return fail("the stream was not set up");
    State& s = *state;
    if (!pixels || bytes != imageSize(s.width, s.height)) {
        latched = true;
        std::lock_guard<std::mutex> lock(s.mutex);
        if (s.workerError.empty())
            s.workerError = "frame of " + std::to_string(bytes) + " bytes, " +
                            std::to_string(imageSize(s.width, s.height)) + " expected";
        return kVideoBadBitmap;
    }
    std::vector<uint8_t> buffer;
    {
        std::unique_lock<std::mutex> lock(s.mutex);
        s.changed.wait(lock, [&s] { return s.workerFailed || s.queue.size() < kQueueDepth; });
        if (s.workerFailed) {
            latched = true;
            return kVideoLatchedError;
        }
        if (!s.spare.empty()) {
            buffer = std::move(s.spare.back());
            s.spare.pop_back();
        }
    }
    buffer.assign(pixels, pixels + bytes);
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.queue.emplace_back(frameNumber, std::move(buffer));
    }
    s.changed.notify_all();
    ++frames;
    return kVideoOk;
}

uint32_t VideoWriter::finish() {
    if (!state) return kVideoNoWriter;
    if (latched) {
        abort();
        return kVideoLatchedError;
    }
    State& s = *state;
    if (!s.headerWritten) {
        fail("the stream was not set up");
        abort();
        return kVideoLatchedError;
    }
    s.stopWorker(); // encodes what is queued, then ends
    std::string reason;
    if (s.workerFailed) reason = s.workerError;
    int r = 0;
    if (reason.empty() && (r = s.encode(nullptr)) < 0) reason = "cannot finish the encoding: " + avError(r);
    if (reason.empty() && (r = av_write_trailer(s.format)) < 0) reason = "cannot write the index: " + avError(r);
    if (reason.empty()) {
        avio_flush(s.io);
        if (s.io->error < 0) reason = "cannot write the file: " + avError(s.io->error);
    }
    if (reason.empty() && !s.sink.commit()) reason = s.sink.error();
    if (!reason.empty()) {
        if (!s.sink.error().empty()) reason = s.sink.error();
        latched = true;
        openError = reason;
        state.reset(); // removes the temporary file
        return kVideoLatchedError;
    }
    state.reset();
    return kVideoOk;
}

void VideoWriter::abort() {
    if (!state) return;
    {
        std::lock_guard<std::mutex> lock(state->mutex);
        state->queue.clear(); // nothing more is encoded
        if (!state->workerError.empty()) openError = state->workerError;
    }
    state.reset(); // joins the worker, frees FFmpeg's objects, removes the file
}

} // namespace io
