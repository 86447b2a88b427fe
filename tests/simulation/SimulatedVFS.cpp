#include "SimulatedVFS.h"

#include <cstring>
#include <set>
#include <sqlite3.h>

namespace {

const std::string root = "/simulated/";

sqlite3_vfs* realVFS = nullptr;
sqlite3_vfs simulatedVFS;
std::map<std::string, SimulatedDisk*> disks;
std::set<const SimulatedDisk::File*> openDatabases;

SimulatedDisk* diskOf(const char* path) {
    if (!path || std::strncmp(path, root.c_str(), root.size()) != 0)
        return nullptr;
    const char* name = path + root.size();
    const char* slash = std::strchr(name, '/');
    const auto found = slash ? disks.find(std::string(name, slash)) : disks.end();
    return found == disks.end() ? nullptr : found->second;
}

// An open database or journal. SQLite gives the memory.
struct OpenFile {
    sqlite3_file base;
    SimulatedDisk* disk;
    SimulatedDisk::FileRef file;
    int generation;
    std::string deleteOnClose;
    std::vector<std::unique_ptr<char[]>> sharedMemory; // the index of the write-ahead log

    bool isUsable() const { return disk->generation() == generation; }
};

OpenFile& of(sqlite3_file* file) {
    return *reinterpret_cast<OpenFile*>(file);
}

int failure(const OpenFile& open, int code) {
    return open.isUsable() && open.disk->isFull() ? SQLITE_FULL : code;
}

int closeFile(sqlite3_file* file) {
    auto& open = of(file);
    if (!open.deleteOnClose.empty() && open.isUsable())
        open.disk->remove(open.deleteOnClose);
    openDatabases.erase(open.file.get());
    open.~OpenFile();
    return SQLITE_OK;
}

int read(sqlite3_file* file, void* to, int size, sqlite3_int64 offset) {
    const QByteArray& bytes = of(file).file->bytes;
    const qsizetype present = std::clamp<qsizetype>(bytes.size() - offset, 0, size);
    if (present > 0)
        std::memcpy(to, bytes.constData() + offset, size_t(present));
    if (present == size)
        return SQLITE_OK;
    std::memset(static_cast<char*>(to) + present, 0, size_t(size - present));
    return SQLITE_IOERR_SHORT_READ;
}

int write(sqlite3_file* file, const void* from, int size, sqlite3_int64 offset) {
    auto& open = of(file);
    const QByteArray bytes(static_cast<const char*>(from), size);
    return open.isUsable() && open.disk->write(open.file, offset, bytes) ? SQLITE_OK
                                                                         : failure(open, SQLITE_IOERR_WRITE);
}

int truncate(sqlite3_file* file, sqlite3_int64 size) {
    auto& open = of(file);
    return open.isUsable() && open.disk->truncate(open.file, size) ? SQLITE_OK : SQLITE_IOERR_TRUNCATE;
}

int sync(sqlite3_file* file, int) {
    auto& open = of(file);
    return open.isUsable() && open.disk->sync(open.file) ? SQLITE_OK : SQLITE_IOERR_FSYNC;
}

int fileSize(sqlite3_file* file, sqlite3_int64* size) {
    *size = of(file).file->bytes.size();
    return SQLITE_OK;
}

int lock(sqlite3_file*, int) {
    return SQLITE_OK;
}

int checkReservedLock(sqlite3_file*, int* isReserved) {
    *isReserved = 0;
    return SQLITE_OK;
}

int fileControl(sqlite3_file*, int, void*) {
    return SQLITE_NOTFOUND;
}

int sectorSize(sqlite3_file*) {
    return 512;
}

int deviceCharacteristics(sqlite3_file*) {
    return 0;
}

int sharedMemoryMap(sqlite3_file* file, int region, int size, int, void volatile** memory) {
    auto& regions = of(file).sharedMemory;
    while (int(regions.size()) <= region)
        regions.push_back(std::make_unique<char[]>(size_t(size)));
    *memory = regions[size_t(region)].get();
    return SQLITE_OK;
}

int sharedMemoryLock(sqlite3_file*, int, int, int) {
    return SQLITE_OK;
}

void sharedMemoryBarrier(sqlite3_file*) {}

int sharedMemoryUnmap(sqlite3_file* file, int) {
    of(file).sharedMemory.clear();
    return SQLITE_OK;
}

const sqlite3_io_methods methods{2,
                                 closeFile,
                                 read,
                                 write,
                                 truncate,
                                 sync,
                                 fileSize,
                                 lock,
                                 lock,
                                 checkReservedLock,
                                 fileControl,
                                 sectorSize,
                                 deviceCharacteristics,
                                 sharedMemoryMap,
                                 sharedMemoryLock,
                                 sharedMemoryBarrier,
                                 sharedMemoryUnmap,
                                 nullptr,
                                 nullptr};

int openFile(sqlite3_vfs*, const char* path, sqlite3_file* file, int flags, int* outFlags) {
    auto* disk = diskOf(path);
    if (!disk)
        return realVFS->xOpen(realVFS, path, file, flags, outFlags);
    file->pMethods = nullptr;
    auto present = disk->find(path);
    if (!present && (flags & SQLITE_OPEN_CREATE) != 0)
        present = disk->create(path);
    if (!present)
        return disk->isFull() ? SQLITE_FULL : SQLITE_CANTOPEN;
    if ((flags & SQLITE_OPEN_MAIN_DB) != 0 && !openDatabases.insert(present.get()).second)
        qFatal("%s is open twice", path);
    new (file) OpenFile{{&methods}, disk, present, disk->generation(), {}, {}};
    if ((flags & SQLITE_OPEN_DELETEONCLOSE) != 0)
        of(file).deleteOnClose = path;
    if (outFlags)
        *outFlags = flags;
    return SQLITE_OK;
}

int removeFile(sqlite3_vfs*, const char* path, int syncFolder) {
    auto* disk = diskOf(path);
    if (!disk)
        return realVFS->xDelete(realVFS, path, syncFolder);
    if (!disk->find(path))
        return SQLITE_IOERR_DELETE_NOENT;
    return disk->remove(path) ? SQLITE_OK : SQLITE_IOERR_DELETE;
}

int access(sqlite3_vfs*, const char* path, int flags, int* result) {
    const auto* disk = diskOf(path);
    if (!disk)
        return realVFS->xAccess(realVFS, path, flags, result);
    const auto file = disk->find(path);
    *result = file && (flags != SQLITE_ACCESS_EXISTS || !file->bytes.isEmpty());
    return SQLITE_OK;
}

int fullPathname(sqlite3_vfs*, const char* path, int size, char* result) {
    if (!diskOf(path))
        return realVFS->xFullPathname(realVFS, path, size, result);
    sqlite3_snprintf(size, result, "%s", path);
    return SQLITE_OK;
}

} // namespace

SimulatedVFS::SimulatedVFS() {
    realVFS = sqlite3_vfs_find(nullptr);
    simulatedVFS = *realVFS;
    simulatedVFS.zName = "simulated";
    simulatedVFS.szOsFile = std::max<int>(realVFS->szOsFile, sizeof(OpenFile));
    simulatedVFS.xOpen = openFile;
    simulatedVFS.xDelete = removeFile;
    simulatedVFS.xAccess = access;
    simulatedVFS.xFullPathname = fullPathname;
    sqlite3_vfs_register(&simulatedVFS, 1);
}

SimulatedVFS::~SimulatedVFS() {
    sqlite3_vfs_unregister(&simulatedVFS);
    sqlite3_vfs_register(realVFS, 1);
}

void SimulatedVFS::addDisk(const std::string& name, SimulatedDisk& disk) {
    disks[name] = &disk;
}

void SimulatedVFS::removeDisk(const std::string& name) {
    disks.erase(name);
}
