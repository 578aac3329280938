// A stream held against a string: a script of bytes tells what is read, put back and reset, and when the source gives
// little, fails and ends. The script comes from a fuzzer or from a test's random numbers.
#pragma once

#include <velox/pask_iostream.h>

#include <cstring>
#include <string>
#include <string_view>

class stream_model {
 public:
  // True when the stream did all that the script asked of it as told. pask_iostream has to be started.
  static bool holds(std::string_view script) {
    stream_model m(script);
    const pask_iostream_callbacks callbacks = {give, nullptr, nullptr, [](void*) -> pask_status { return 0; }, nullptr};
    if (pask_iostream_create(&m.stream_, BUFFER, &callbacks, &m) != 0) return false;
    while (m.sound_ && !m.script_.empty()) m.step();
    uint32_t read = 0;
    const bool counted = pask_iostream_throughput(m.stream_, &read, nullptr) == 0 && read == m.total_;
    return (pask_iostream_release(m.stream_) == 0) & counted & m.sound_;
  }

 private:
  static constexpr uint32_t BUFFER = 1500;
  static constexpr pask_status END = 0x10220049, FAILURES[] = {0x90440007, 0x10440007}, SOURCE_END = 0x90440049;

  explicit stream_model(std::string_view script) : script_(script) {}

  uint32_t next() {
    if (script_.empty()) return 0;
    const auto byte = static_cast<uint8_t>(script_.front());
    script_.remove_prefix(1);
    return byte;
  }
  uint32_t next_size() {
    const uint32_t byte = next();
    return byte < 160 ? byte % 40 : (byte * 256 + next()) % 5000;
  }
  std::string bytes(uint32_t size) {
    std::string s(size, '\0');
    for (char& c : s) c = static_cast<char>((noise_ = noise_ * 1664525 + 1013904223) >> 24);
    return s;
  }

  // The read callback. It is only asked when what lies ahead doesn't do, and always for the whole buffer.
  static pask_status give(void* self, void* buffer, uint32_t size, uint32_t* got) {
    auto& m = *static_cast<stream_model*>(self);
    m.sound_ &= size == BUFFER && m.ahead_.size() < m.wanted_;
    memset(buffer, 0, *got = size);
    const uint32_t choice = m.next();
    if (choice < 20) return m.word_ = choice < 8 ? SOURCE_END : FAILURES[choice % 2];
    const std::string piece = m.bytes(choice < 40 ? 0 : choice < 180 ? 1 + m.next_size() % size : size);
    m.ended_ = piece.empty();
    m.ahead_ += piece;
    *got = static_cast<uint32_t>(piece.copy(static_cast<char*>(buffer), size));
    if (*got == size && choice % 2 != 0) *got = UINT32_MAX;  // a count that no source can mean
    return 0;
  }

  void read() {
    wanted_ = next_size();
    word_ = ended_ ? END : 0;
    std::string result(wanted_, '\0');
    uint32_t got = wanted_ + 1;
    const pask_status status = pask_iostream_read(stream_, result.data(), wanted_, &got);
    const std::string expected = ahead_.substr(0, wanted_);
    ahead_.erase(0, wanted_);
    total_ += static_cast<uint32_t>(expected.size());
    ended_ |= word_ == SOURCE_END;
    if (word_ != 0 && (word_ != SOURCE_END || expected.empty()))
      sound_ &= status == word_ && got == wanted_ + 1;
    else
      sound_ &= status == 0 && got == expected.size() && result.compare(0, got, expected) == 0;
  }

  void step() {
    read();
    const uint32_t choice = next();
    if (choice < 80) {
      const std::string back = bytes(next_size());
      sound_ &= pask_iostream_putback(stream_, back.data(), static_cast<uint32_t>(back.size())) == 0;
      ended_ &= back.empty();
      ahead_ = back + ahead_;
    } else if (choice < (ended_ ? 200 : 85)) {
      sound_ &= pask_iostream_reset(stream_) == 0;
      ahead_.clear();
      ended_ = false;
    }
  }

  std::string_view script_;
  pask_iostream_handle stream_ = nullptr;
  std::string ahead_;  // to be read next: put back or buffered
  uint32_t wanted_ = 0, total_ = 0, noise_ = 0;
  pask_status word_ = 0;  // what ends this read, if anything does
  bool ended_ = false, sound_ = true;
};
