#pragma once

#include <string>

#include "Failure.h"

extern "C" {
#include <libavutil/error.h>
}

// A failure of libavformat or libavcodec, in words.
inline Failure avFailure(const std::string& doing, int error) {
  if (error == AVERROR_EXIT) return Failure(Failure::eInterrupted, doing + ": interrupted");
  char words[AV_ERROR_MAX_STRING_SIZE] = "";
  av_strerror(error, words, sizeof(words));
  return Failure(Failure::eFailed, doing + ": " + words);
}
