#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Bytes beside those of the source that they were made from, which is read by the system's plain
// reads.
// Errors     throws: a verification failure names the first byte that differs, or both lengths.
namespace DemoComparison {

// Of a part of `name`.
void bytes(const std::string& name, uint64_t offset, const unsigned char* found,
           const unsigned char* expected, size_t count);
// The whole file, read through the engine or by plain reads. Returns how many bytes were compared.
uint64_t throughEngine(const std::string& name, const std::string& source);
uint64_t byPlainReads(const std::string& name, const std::string& source);

}  // namespace DemoComparison
