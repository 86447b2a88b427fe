#include "Fuzzing.h"

int LLVMFuzzerInitialize(int* argc, char*** argv) {
    prepareProcess(*argc, *argv);
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    // A copy of its own, so that a byte read behind its end is seen.
    runInput(QByteArray(reinterpret_cast<const char*>(bytes), static_cast<qsizetype>(size)));
    return 0;
}
