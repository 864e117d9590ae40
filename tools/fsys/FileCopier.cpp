#include "tools/fsys/FileCopier.h"

#include "tools/fsys/EngineFile.h"
#include "tools/fsys/PartFile.h"
#include "tools/fsys/PlainFile.h"
#include "tools/fsys/Progress.h"
#include "tools/fsys/ReadStream.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/ToolError.h"
#include "tools/fsys/WriteStream.h"

std::string FileCopier::destinationOf(const std::string& source, const std::string& destination) {
  if (destination.empty() || !factsOf(destination).isFolder) return destination;
  std::string folder = destination;
  if (folder.back() != '/') folder += '/';
  return folder + lastPartOf(source);
}

uint64_t FileCopier::copy(const std::string& source, const std::string& destination,
                          Progress& progress) {
  FileFacts before = factsOf(source);
  if (!before.exists) throw ToolError(ExitCode::eNotFound, "copying", source, "no such file");
  if (before.isFolder) throw ToolError(ExitCode::eNotAFile, "copying", source, "is a folder");
  if (!before.isRegular)
    throw ToolError(ExitCode::eNotAFile, "copying", source, "not a regular file");
  FileFacts target = factsOf(destination);
  if (target.exists && target.device == before.device && target.inode == before.inode)
    throw ToolError(ExitCode::eExists, "copying", source,
                    inQuotes(destination) + " is the same file");
  PartFile part(destination, before.mode, settings_.replace);
  uint64_t bytes = transfer(source, part.name(), progress);
  FileFacts after = factsOf(source);
  if (after.size != before.size || after.changed_ns != before.changed_ns || bytes != before.size)
    throw ToolError(ExitCode::eIo, "copying", source, "it was changed meanwhile");
  part.commit();
  return bytes;
}

uint64_t FileCopier::transfer(const std::string& source, const std::string& part,
                              Progress& progress) {
  EngineFile from(source, EngineFile::eRead, settings_.block);
  EngineFile to(part, EngineFile::eWrite, settings_.block);
  uint64_t size = from.size();
  ReadStream reading(from, ReadStream::wholeFile(size, settings_.block, 1),
                     settings_.readsInFlight);
  WriteStream writing(to, settings_.writesInFlight);
  Block block;
  while (reading.next(block)) {
    writing.write(block.data, block.range.length);
    progress.add(block.range.length);
  }
  writing.settle();
  to.close();
  uint64_t written = factsOf(part).size;
  if (written > size) truncateFile(part, size);
  if (written < size)
    throw ToolError(
        ExitCode::eIo, "writing", part,
        text("it ends at %llu instead of %llu", static_cast<unsigned long long>(written),
             static_cast<unsigned long long>(size)));
  reads_.add(reading.latency());
  writes_.add(writing.latency());
  return size;
}
