// Streams against libc's and the standard library's over the same source, and MD5 against OpenSSL and GLib where they
// are installed.
#include <stdio.h>
#include <velox/pask_iostream.h>
#include <velox/pask_md5.h>
#include <velox/pask_modules.h>
#include <velox/velox_manager.h>

#include "against.h"
#if __has_include(<openssl/evp.h>)
#include <openssl/evp.h>
#endif
#if __has_include(<glib.h>)
#include <glib.h>
#endif

#include <algorithm>
#include <cstring>
#include <istream>
#include <streambuf>
#include <string>

namespace {

constexpr uint32_t BUFFER = 4096;
constexpr uint32_t SOURCE = 1 << 20;

// All three libraries read this one, through a buffer of the same size.
struct source {
  std::string data = std::string(SOURCE, 'x');
  size_t at = 0;

  size_t read(void* to, size_t size) {
    const size_t n = std::min(size, data.size() - at);
    memcpy(to, data.data() + at, n);
    at += n;
    return n;
  }
};

pask_status source_read(void* from, void* to, uint32_t size, uint32_t* got) {
  *got = static_cast<uint32_t>(static_cast<source*>(from)->read(to, size));
  return 0;
}

pask_iostream_handle stream_over(source& from) {
  const pask_iostream_callbacks callbacks = {source_read, nullptr, nullptr, nullptr, nullptr};
  pask_iostream_handle stream = nullptr;
  pask_iostream_create(&stream, BUFFER, &callbacks, &from);
  return stream;
}

FILE* file_over(source& from) {
  const auto read = [](void* cookie, char* to, size_t size) {
    return static_cast<ssize_t>(static_cast<source*>(cookie)->read(to, size));
  };
  FILE* const file = fopencookie(&from, "r", {read, nullptr, nullptr, nullptr});
  setvbuf(file, nullptr, _IOFBF, BUFFER);
  return file;
}

struct source_buf : std::streambuf {
  explicit source_buf(source& from) : from_(from) {}
  int_type underflow() override {
    const size_t n = from_.read(bytes_, sizeof bytes_);
    setg(bytes_, bytes_, bytes_ + n);
    return n == 0 ? traits_type::eof() : traits_type::to_int_type(bytes_[0]);
  }

 private:
  source& from_;
  char bytes_[BUFFER];
};

// Reads the source once, in reads of as many bytes as the argument tells. `open` gives a function that reads once and
// returns the count.
template <class Open>
void reads(benchmark::State& state, Open open) {
  const auto size = static_cast<uint32_t>(state.range(0));
  std::string to(size, '\0');
  source from;
  for (auto _ : state) {
    from.at = 0;
    open(from, [&](auto read) {
      while (read(to.data(), size) == size) benchmark::ClobberMemory();
    });
  }
  state.SetBytesProcessed(state.iterations() * SOURCE);
}

// Gives back the last `Back` bytes of each read.
template <uint32_t Back>
void iostream_read(benchmark::State& state) {
  reads(state, [](source& from, auto run) {
    pask_iostream_handle stream = stream_over(from);
    run([&](char* to, uint32_t size) {
      uint32_t got = 0;
      pask_iostream_read(stream, to, size, &got);
      if (Back != 0 && got == size) pask_iostream_putback(stream, to + size - Back, Back);
      return got;
    });
    pask_iostream_release(stream);
  });
}

template <uint32_t Back>
void std_istream_read(benchmark::State& state) {
  reads(state, [](source& from, auto run) {
    source_buf buf(from);
    std::istream in(&buf);
    run([&](char* to, uint32_t size) {
      const auto got = static_cast<uint32_t>(in.read(to, size).gcount());
      for (uint32_t i = 1; i <= Back && got == size; ++i) in.putback(to[size - i]);
      return got;
    });
  });
}

void libc_fread(benchmark::State& state) {
  reads(state, [](source& from, auto run) {
    FILE* const file = file_over(from);
    run([&](char* to, uint32_t size) { return fread(to, 1, size, file); });
    fclose(file);
  });
}

#define SIZES ArgName("bytes")->Arg(1)->Arg(16)->Arg(512)->Arg(65536)
WORKLOAD("read a stream|ours", iostream_read<0>)->SIZES;
WORKLOAD("read a stream|fread", libc_fread)->SIZES;
WORKLOAD("read a stream|std::istream", std_istream_read<0>)->SIZES;
WORKLOAD("read a stream, give 4 bytes back|ours", iostream_read<4>)->ArgName("bytes")->Arg(16);
WORKLOAD("read a stream, give 4 bytes back|std::istream", std_istream_read<4>)->ArgName("bytes")->Arg(16);

// The whole source as one text.
void iostream_read_entire(benchmark::State& state) {
  source from;
  for (auto _ : state) {
    from.at = 0;
    pask_iostream_handle stream = stream_over(from);
    char* text = nullptr;
    uint32_t size = 0;
    pask_iostream_read_entire(stream, &text, &size);
    benchmark::DoNotOptimize(text);
    pask_memory_free(text);
    pask_iostream_release(stream);
  }
  state.SetBytesProcessed(state.iterations() * SOURCE);
}

void std_string_of_stream(benchmark::State& state) {
  source from;
  for (auto _ : state) {
    from.at = 0;
    source_buf buf(from);
    std::string text;
    char step[1024];
    while (const auto got = buf.sgetn(step, sizeof step)) text.append(step, static_cast<size_t>(got));
    benchmark::DoNotOptimize(text.data());
  }
  state.SetBytesProcessed(state.iterations() * SOURCE);
}
WORKLOAD("read a stream of 1 MB whole|ours", iostream_read_entire);
WORKLOAD("read a stream of 1 MB whole|std::streambuf", std_string_of_stream);

// One digest with its text form, of a message at an odd address; the argument is its size.
template <class Digest>
void digests(benchmark::State& state, Digest digest) {
  const std::string data(static_cast<size_t>(state.range(0)) + 1, 'x');
  for (auto _ : state) digest(data.data() + 1, data.size() - 1);
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

void md5_digest(benchmark::State& state) {
  digests(state, [](const char* data, size_t size) {
    pask_md5_ctx ctx;
    pask_md5_start(&ctx);
    pask_md5_compute(&ctx, data, static_cast<uint32_t>(size));
    pask_md5_end(&ctx);
    benchmark::DoNotOptimize(ctx.hex);
  });
}
WORKLOAD("MD5|ours", md5_digest)->ArgName("bytes")->Arg(16)->Arg(1000)->Arg(1 << 20);

#if __has_include(<openssl/evp.h>)
void openssl_md5(benchmark::State& state) {
  EVP_MD_CTX* const ctx = EVP_MD_CTX_new();
  EVP_MD* const md5 = EVP_MD_fetch(nullptr, "MD5", nullptr);
  digests(state, [=](const char* data, size_t size) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    EVP_DigestInit_ex2(ctx, md5, nullptr);
    EVP_DigestUpdate(ctx, data, size);
    EVP_DigestFinal_ex(ctx, digest, nullptr);
    benchmark::DoNotOptimize(digest);
  });
  EVP_MD_free(md5);
  EVP_MD_CTX_free(ctx);
}
WORKLOAD("MD5|OpenSSL", openssl_md5)->ArgName("bytes")->Arg(16)->Arg(1000)->Arg(1 << 20);
#endif

#if __has_include(<glib.h>)
void glib_md5(benchmark::State& state) {
  GChecksum* const sum = g_checksum_new(G_CHECKSUM_MD5);
  digests(state, [=](const char* data, size_t size) {
    g_checksum_reset(sum);
    g_checksum_update(sum, reinterpret_cast<const guchar*>(data), static_cast<gssize>(size));
    benchmark::DoNotOptimize(g_checksum_get_string(sum));
  });
  g_checksum_free(sum);
}
WORKLOAD("MD5|GLib", glib_md5)->ArgName("bytes")->Arg(16)->Arg(1000)->Arg(1 << 20);
#endif

}  // namespace

int main(int argc, char** argv) {
  pask_memory_initialize();
  pask_iostream_initialize();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  pask_iostream_shutdown();
  pask_memory_shutdown();
  return 0;
}
