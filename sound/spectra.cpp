// A Hann window and FFTW's transform of real numbers.
#include "spectra.h"

#include <cmath>
#include <numbers>

namespace velox::sound {

spectra::spectra(size_t size, size_t hop, on_frame tell)
    : size_(size), hop_(hop), tell_(std::move(tell)), powers_(size / 2 + 1) {
  for (size_t i = 0; i < size; ++i)
    window_.push_back(static_cast<float>(
        (0.5 - 0.5 * std::cos(2 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(size))) * 2 /
        static_cast<double>(size)));  // a full-scale sine has a power near 0.25, whatever the size
  in_.reset(fftwf_alloc_real(size));
  out_.reset(fftwf_alloc_complex(powers_.size()));
  if (!in_ || !out_) throw std::bad_alloc();
  plan_.reset(fftwf_plan_dft_r2c_1d(static_cast<int>(size), in_.get(), out_.get(), FFTW_ESTIMATE));
}

void spectra::add(std::span<const float> samples) {
  waiting_.insert(waiting_.end(), samples.begin(), samples.end());
  size_t at = 0;
  for (; waiting_.size() - at >= size_; at += hop_) {
    for (size_t i = 0; i < size_; ++i) in_.get()[i] = waiting_[at + i] * window_[i];
    frame();
  }
  waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<ptrdiff_t>(at));
}

void spectra::end() {
  if (told_ || waiting_.empty()) return;
  waiting_.resize(size_);
  add({});
}

void spectra::frame() {
  fftwf_execute(plan_.get());
  for (size_t i = 0; i < powers_.size(); ++i) {
    const float* const value = out_.get()[i];
    powers_[i] = value[0] * value[0] + value[1] * value[1];
  }
  told_ = true;
  tell_(powers_);
}

}  // namespace velox::sound
