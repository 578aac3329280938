// Sound in frames: each windowed and transformed, its power told by frequency.
#ifndef VELOX_SOUND_SPECTRA_H
#define VELOX_SOUND_SPECTRA_H

#include <fftw3.h>

#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace velox::sound {

class spectra {
 public:
  /** Called with size / 2 + 1 powers, from 0 Hz up. */
  using on_frame = std::function<void(std::span<const float> powers)>;

  spectra(size_t size, size_t hop, on_frame tell);
  void add(std::span<const float> samples);
  /** The last frame, filled up with silence; where not a single one was whole, that is all there is. */
  void end();

 private:
  void frame();
  struct free_plan {
    void operator()(fftwf_plan plan) const { fftwf_destroy_plan(plan); }
  };
  struct free_memory {
    void operator()(void* memory) const { fftwf_free(memory); }
  };
  const size_t size_, hop_;
  on_frame tell_;
  std::vector<float> window_, waiting_, powers_;
  std::unique_ptr<float, free_memory> in_;
  std::unique_ptr<fftwf_complex, free_memory> out_;
  std::unique_ptr<std::remove_pointer_t<fftwf_plan>, free_plan> plan_;
  bool told_ = false;
};

}  // namespace velox::sound

#endif
