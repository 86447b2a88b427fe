#pragma once

#include <limits>
#include <map>
#include <sqlite3.h>

// A disk that fails on demand, for every database that is opened while it exists; all must be closed before
// it goes.
class FaultyDisk {
public:
    FaultyDisk() {
        real_ = sqlite3_vfs_find(nullptr);
        faulty_ = *real_;
        faulty_.zName = "faulty";
        faulty_.xOpen = open;
        sqlite3_vfs_register(&faulty_, 1);
    }
    ~FaultyDisk() {
        sqlite3_vfs_unregister(&faulty_);
        sqlite3_vfs_register(real_, 1);
        result_ = SQLITE_OK;
        calls_ = 0;
        readsFail_ = false;
    }

    // `times` calls that change a file answer `result`, after `after` more that work.
    void fail(int result, int after = 0, int times = std::numeric_limits<int>::max()) {
        result_ = result;
        calls_ = after;
        failures_ = times;
    }
    void failReads(bool fail) { readsFail_ = fail; }
    void mend() {
        result_ = SQLITE_OK;
        readsFail_ = false;
    }

private:
    static int open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
        const int code = real_->xOpen(real_, name, file, flags, outFlags);
        if (code != SQLITE_OK)
            return code;
        // The file's own methods, but for those that can be made to fail.
        sqlite3_io_methods& methods = methods_[file->pMethods];
        realMethods_[&methods] = file->pMethods;
        methods = *file->pMethods;
        methods.xRead = read;
        methods.xWrite = write;
        methods.xSync = sync;
        file->pMethods = &methods;
        return code;
    }
    static const sqlite3_io_methods& realOf(sqlite3_file* file) { return *realMethods_.at(file->pMethods); }
    static bool fails() { return result_ != SQLITE_OK && calls_-- <= 0 && failures_-- > 0; }
    static int read(sqlite3_file* file, void* bytes, int size, sqlite3_int64 offset) {
        return readsFail_ ? SQLITE_IOERR_READ : realOf(file).xRead(file, bytes, size, offset);
    }
    static int write(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset) {
        return fails() ? result_ : realOf(file).xWrite(file, bytes, size, offset);
    }
    static int sync(sqlite3_file* file, int flags) {
        return fails() ? result_ : realOf(file).xSync(file, flags);
    }

    static inline sqlite3_vfs* real_ = nullptr;
    static inline sqlite3_vfs faulty_;
    static inline std::map<const sqlite3_io_methods*, sqlite3_io_methods> methods_; // by the real ones
    static inline std::map<const sqlite3_io_methods*, const sqlite3_io_methods*> realMethods_;
    static inline int result_ = SQLITE_OK;
    static inline int calls_ = 0, failures_ = 0;
    static inline bool readsFail_ = false;
};
