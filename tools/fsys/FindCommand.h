#pragma once

#include <cstdint>

#include "fsys/DecodeFormat.h"
#include "tools/fsys/StorageCommand.h"

struct FileChoice;
struct MediaFile;

// FindCommand: fsys find COOKIE: which file of the catalogue serves it, and why that one.
class FindCommand : public StorageCommand {
protected:
  CLI::App* defineStorage(CLI::App& app) override;
  bool usesCatalogue() const override { return true; }
  ExitCode work() override;

private:
  DecodeFormat format() const;
  void tell(const FileChoice& choice, const MediaFile& file);

  std::string cookie_;
  std::string level_ = "auto";
  uint32_t height_ = 0;
};
