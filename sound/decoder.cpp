// FFmpeg opens nothing itself: it reads and seeks through the descriptor that it is given, knows only the formats and codecs that
// a catalogue takes in, and works in one thread, so that a decoder which goes astray has nothing to reach.
#include "decoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>
#include <vector>

namespace velox::sound {
namespace {

constexpr int k_buffer = 1 << 16;
constexpr int64_t k_probed_bytes = 1 << 20, k_probed_us = 5'000'000;
constexpr int k_most_channels = 16;
constexpr int k_least_rate = 1000, k_most_rate = 768000;
constexpr const char* k_formats = "flac,mp3,ogg,mov,mp4,m4a,aac,wav";
constexpr const char* k_codecs = "flac,mp3float,mp3,vorbis,opus,aac,aac_latm,alac,pcm_s16le,pcm_s24le,pcm_f32le";

template <class Object, void (*Free)(Object**)>
struct freed {
  void operator()(Object* object) const { Free(&object); }
};
template <class Object, void (*Free)(Object**)>
using owner = std::unique_ptr<Object, freed<Object, Free>>;

void free_io(AVIOContext** io) {
  av_freep(&(*io)->buffer);
  avio_context_free(io);
}

[[noreturn]] void fail(const char* what, int error) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(error, text, sizeof text);
  throw unheard(std::string(what) + ": " + text);
}

int check(int result, const char* what) {
  if (result < 0) fail(what, result);
  return result;
}

int file_of(void* context) { return static_cast<int>(reinterpret_cast<intptr_t>(context)); }

int read_some(void* context, uint8_t* buffer, int size) {
  const ssize_t got = ::read(file_of(context), buffer, static_cast<size_t>(size));
  return got > 0 ? static_cast<int>(got) : got == 0 ? AVERROR_EOF : AVERROR(errno);
}

int64_t seek_to(void* context, int64_t offset, int whence) {
  if (whence & AVSEEK_SIZE) {
    struct stat status = {};
    return ::fstat(file_of(context), &status) == 0 ? status.st_size : AVERROR(errno);
  }
  const off_t at = ::lseek(file_of(context), offset, whence & ~AVSEEK_FORCE);
  return at < 0 ? AVERROR(errno) : at;
}

/** Converts samples from one form to another. */
class converter {
 public:
  converter(AVFrame& from, AVChannelLayout to, int rate) {
    SwrContext* made = nullptr;
    check(swr_alloc_set_opts2(&made, &to, AV_SAMPLE_FMT_FLT, rate, &from.ch_layout,
                              static_cast<AVSampleFormat>(from.format), from.sample_rate, 0, nullptr),
          "its sound can't be converted");
    swr_.reset(made);
    check(swr_init(made), "its sound can't be converted");
    channels_ = static_cast<size_t>(to.nb_channels);
  }
  /** `data` may be null: then what is left comes out. */
  std::span<const float> convert(const uint8_t* const* data, int samples) {
    const auto room = static_cast<size_t>(std::max(swr_get_out_samples(swr_.get(), samples), 0));
    out_.resize(std::max(out_.size(), room * channels_));
    auto* to = reinterpret_cast<uint8_t*>(out_.data());
    const int made =
        check(swr_convert(swr_.get(), &to, static_cast<int>(room), const_cast<const uint8_t**>(data), samples),
              "its sound can't be converted");
    return {out_.data(), static_cast<size_t>(made) * channels_};
  }

 private:
  owner<SwrContext, swr_free> swr_;
  size_t channels_ = 0;
  std::vector<float> out_;
};

class decoding {
 public:
  decoding(int file, const listener& to) : to_(to) {
    av_log_set_level(AV_LOG_QUIET);
    open(file);
    find_stream();
  }

  void listen(int seconds) {
    seconds_ = seconds;
    go_to_middle();
    hear();
    if (heard_ == 0 && from_ > 0) {  // it holds less than it says
      go_to_beginning();
      hear();
    }
    if (heard_ == 0) throw unheard("holds no sound that can be decoded");
    flush();
  }

 private:
  bool full() const { return wanted_ > 0 && heard_ >= wanted_; }

  void open(int file) {
    auto* buffer = static_cast<unsigned char*>(av_malloc(k_buffer));
    io_.reset(avio_alloc_context(buffer, k_buffer, 0, reinterpret_cast<void*>(static_cast<intptr_t>(file)), read_some,
                                 nullptr, seek_to));
    AVFormatContext* format = avformat_alloc_context();
    if (!io_ || !format) throw std::bad_alloc();
    format->pb = io_.get();
    format->flags |= AVFMT_FLAG_CUSTOM_IO | AVFMT_FLAG_DISCARD_CORRUPT;
    format->probesize = k_probed_bytes;
    format->max_analyze_duration = k_probed_us;
    AVDictionary* options = nullptr;
    av_dict_set(&options, "format_whitelist", k_formats, 0);
    av_dict_set(&options, "codec_whitelist", k_codecs, 0);
    const int opened = avformat_open_input(&format, nullptr, nullptr, &options);  // which frees it when it fails
    av_dict_free(&options);
    check(opened, "holds no sound that is understood");
    format_.reset(format);
  }

  void find_stream() {
    for (unsigned i = 0; i < format_->nb_streams; ++i) {
      if (format_->streams[i]->codecpar->codec_type != AVMEDIA_TYPE_AUDIO) format_->streams[i]->discard = AVDISCARD_ALL;
    }
    check(avformat_find_stream_info(format_.get(), nullptr), "holds no sound that is understood");
    const AVCodec* kind = nullptr;
    const int found = av_find_best_stream(format_.get(), AVMEDIA_TYPE_AUDIO, -1, -1, &kind, 0);
    if (found < 0 || !kind) throw unheard("holds no sound that is understood");
    stream_ = format_->streams[found];
    codec_.reset(avcodec_alloc_context3(kind));
    if (!codec_) throw std::bad_alloc();
    check(avcodec_parameters_to_context(codec_.get(), stream_->codecpar), "its sound can't be decoded");
    codec_->thread_count = 1;
    codec_->pkt_timebase = stream_->time_base;
    AVDictionary* options = nullptr;
    av_dict_set(&options, "codec_whitelist", k_codecs, 0);
    const int opened = avcodec_open2(codec_.get(), kind, &options);
    av_dict_free(&options);
    check(opened, "its sound can't be decoded");
  }

  /** Where the length is known and seeking works; else the beginning is as good. */
  void go_to_middle() {
    const int64_t whole = format_->duration, wanted = seconds_ * int64_t{AV_TIME_BASE};
    if (whole == AV_NOPTS_VALUE || whole <= wanted) return;
    const int64_t at = begin_time() + (whole - wanted) / 2;
    if (seek(at)) from_ = static_cast<double>(at) / AV_TIME_BASE;
  }

  void go_to_beginning() {
    from_ = 0;
    avcodec_flush_buffers(codec_.get());
    seek(begin_time());
  }

  int64_t begin_time() const { return format_->start_time == AV_NOPTS_VALUE ? 0 : format_->start_time; }
  bool seek(int64_t to) { return av_seek_frame(format_.get(), -1, to, AVSEEK_FLAG_BACKWARD) >= 0; }

  void hear() {
    const owner<AVPacket, av_packet_free> packet(av_packet_alloc());
    if (!packet) throw std::bad_alloc();
    for (bool more = true; more && !full();) {
      more = av_read_frame(format_.get(), packet.get()) >= 0;
      if (!more || packet->stream_index == stream_->index) {
        const int sent = avcodec_send_packet(codec_.get(), more ? packet.get() : nullptr);
        if (sent == AVERROR(ENOMEM)) fail("its sound can't be decoded", sent);
        receive();
      }
      av_packet_unref(packet.get());
    }
  }

  void receive() {
    const owner<AVFrame, av_frame_free> frame(av_frame_alloc());
    if (!frame) throw std::bad_alloc();
    while (!full() && avcodec_receive_frame(codec_.get(), frame.get()) >= 0) {
      if (is_wanted(*frame)) take(*frame);
      av_frame_unref(frame.get());
    }
  }

  /** What lies before the part that is listened to only brings the decoder there. */
  bool is_wanted(const AVFrame& frame) const {
    if (from_ <= 0 || frame.best_effort_timestamp == AV_NOPTS_VALUE) return true;
    return static_cast<double>(frame.best_effort_timestamp) * av_q2d(stream_->time_base) >= from_;
  }

  void take(AVFrame& frame) {
    const int channels = frame.ch_layout.nb_channels;
    if (channels < 1 || channels > k_most_channels || frame.sample_rate < k_least_rate ||
        frame.sample_rate > k_most_rate)
      throw unheard("its sound has a form that isn't understood");
    if (heard_ == 0) begin(frame);
    // A stream that changes its form midway is two pieces; the first is as good as both.
    if (channels != channels_ || frame.sample_rate != rate_ || frame.format != form_) {
      wanted_ = heard_;
      return;
    }
    const int samples = static_cast<int>(std::min<int64_t>(frame.nb_samples, wanted_ - heard_));
    heard_ += samples;
    const uint8_t* const* data = frame.extended_data;
    to_.on_channels(channels_as_they_are_->convert(data, samples));
    to_.on_mix(mix_->convert(data, samples));
  }

  void begin(AVFrame& frame) {
    channels_ = frame.ch_layout.nb_channels, rate_ = frame.sample_rate, form_ = frame.format;
    wanted_ = int64_t{seconds_} * rate_;
    const AVChannelLayout mono = AV_CHANNEL_LAYOUT_MONO;
    if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) av_channel_layout_default(&frame.ch_layout, channels_);
    channels_as_they_are_ = std::make_unique<converter>(frame, frame.ch_layout, rate_);
    mix_ = std::make_unique<converter>(frame, mono, k_rate);
    const bool told = frame.ch_layout.order == AV_CHANNEL_ORDER_NATIVE;
    to_.on_format(rate_, channels_, told ? frame.ch_layout.u.mask : 0);
  }

  void flush() { to_.on_mix(mix_->convert(nullptr, 0)); }

  const listener& to_;
  owner<AVIOContext, free_io> io_;
  owner<AVFormatContext, avformat_close_input> format_;
  owner<AVCodecContext, avcodec_free_context> codec_;
  std::unique_ptr<converter> channels_as_they_are_, mix_;
  AVStream* stream_ = nullptr;
  int seconds_ = 0, channels_ = 0, rate_ = 0, form_ = -1;
  double from_ = 0;                /* seconds; what comes before isn't listened to */
  int64_t heard_ = 0, wanted_ = 0; /* samples of a channel */
};

}  // namespace

void decode(int file, int seconds, const listener& to) { decoding(file, to).listen(seconds); }

}  // namespace velox::sound
