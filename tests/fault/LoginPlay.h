#pragma once

#include <string>

#include "tests/fault/FaultPlay.h"

// LoginPlay: logs in, logs in elsewhere, and logs out, in two folders that are there. Whatever
// fails: a login that answers 1 holds its file locked, one that answers 0 leaves the earlier one as
// it was, a logout leaves nothing locked. Behind it a login works as if nothing had been.
class LoginPlay final : public FaultPlay {
public:
  using Text = LightweightString<wchar_t>;

  LoginPlay(const Text& first, const Text& second) : first_(first), second_(second) {}

  std::string name() const override { return "Login"; }
  bool goesOn() const override { return false; }
  FaultPlayed play(FaultLayer& layer, const Fault& fault, eUntil until) override;

private:
  std::string playIn() const;
  std::string playAgain() const;

  const Text first_;
  const Text second_;
};
