/* What a piece of music sounds like, in numbers: an analyser makes the record of a file's sound, a catalogue keeps it and compares
 * it with others. The record holds no text and no pointer: it travels between processes of one machine as it stands.
 *
 * All values come from the same part of a file, at most VELOX_SOUND_SECONDS from its middle, mixed to one channel at 22.05 kHz; the
 * two of loudness alone come from its channels as they are. */
#ifndef VELOX_SOUND_H
#define VELOX_SOUND_H

#include <stdint.h>

#define VELOX_SOUND_METHOD       1u  /* of this header's analyses; a higher one replaces what a lower one made */
#define VELOX_SOUND_SECONDS      180 /* that are listened to */
#define VELOX_SOUND_COEFFICIENTS 20  /* of timbre */
#define VELOX_SOUND_COVARIANCES  210 /* 20 * 21 / 2 */
#define VELOX_SOUND_PULSES       24  /* of rhythm */

typedef struct velox_sound {
  uint32_t method;  /* VELOX_SOUND_METHOD of whoever made it */
  float seconds;    /* listened to */
  float loudness;   /* LUFS, integrated (EBU R128); -70 for silence */
  float range;      /* LU, loudness range: dynamics */
  float brightness; /* Hz: centre of the spectrum by energy */
  float energy;     /* 0 to 1: how much happens, and how evenly loud; not how loud */
  float tempo;      /* beats per minute; 0 where no beat is found */
  float regularity; /* 0 to 1: how alike one beat is to the next */
  float onsets;     /* strength of all that sets in, a second */
  int32_t key;      /* 0 to 11: C, C sharp and so on; -1 where there is none */
  int32_t minor;    /* 1: the key is a minor one */
  float key_sure;   /* 0 to 1: how well the key explains the notes */
  float chroma[12]; /* shares of the twelve notes, from C on; their sum is 1, or 0 without notes */
  /* How alike the onsets are to themselves this much later: from 0.25 s to 2 s in equal ratios; -1 to 1. */
  float pulse[VELOX_SOUND_PULSES];
  /* The first mel-frequency cepstral coefficients of all frames: mean, and covariance as the rows of a lower triangle. The mean of
   * the first, which is loudness alone, is 0. */
  float mean[VELOX_SOUND_COEFFICIENTS];
  float covariance[VELOX_SOUND_COVARIANCES];
} velox_sound;

#endif
