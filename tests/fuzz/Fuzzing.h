#pragma once

#include <QByteArray>
#include <cstddef>
#include <cstdint>

// What the fuzz targets share. Each target is one file that defines `runInput`, and one program: with
// libFuzzer where QW_BUILD_FUZZERS says so, else with replay.cpp, which runs the files of a corpus as a test.

// What the target does with one input, whatever bytes it has. A broken promise ends the process.
void runInput(const QByteArray& input);

// Ends the process unless `holds`; `promise` says what does not hold.
void require(bool holds, const char* promise);

// Makes the application object, and what else a process needs before its first input.
void prepareProcess(int& argc, char** argv);

// libFuzzer's entries.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);
