#pragma once

#include <QDir>
#include <QFile>
#include <QString>
#include <QTemporaryDir>
#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <unistd.h>

// A disk of a few megabytes in memory, which this process and those that it starts see, and nobody else: it
// goes with them. Where the system does not allow it, `refusal` says why.
class SmallDisk {
public:
    explicit SmallDisk(int megabytes = 4) {
        if (isolate() && mount("tmpfs", path_.constData(), "tmpfs", 0, options(megabytes).constData()) == 0)
            isMounted_ = true;
        else
            refusal_ = std::strerror(errno);
    }
    ~SmallDisk() {
        if (isMounted_)
            umount2(path_.constData(), MNT_DETACH);
    }
    SmallDisk(const SmallDisk&) = delete;

    // Empty when the disk is there.
    const std::string& refusal() const { return refusal_; }
    QString path(const QString& name) const { return folder_.filePath(name); }

    // Fills it up but for so many bytes.
    void fill(qint64 free) const {
        empty();
        struct statvfs disk {};
        EXPECT_EQ(statvfs(path_.constData(), &disk), 0);
        QFile ballast(path("ballast"));
        EXPECT_TRUE(ballast.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        const qint64 size = static_cast<qint64>(disk.f_bavail * disk.f_frsize) - free;
        EXPECT_EQ(ballast.write(QByteArray(qMax(qint64(0), size), 'x')), qMax(qint64(0), size));
    }
    void empty() const { QFile::remove(path("ballast")); }
    // Nobody may have a file of it open.
    void setReadOnly(bool isReadOnly) const {
        unsigned long flags = MS_REMOUNT;
        if (isReadOnly)
            flags |= MS_RDONLY;
        EXPECT_EQ(mount(nullptr, path_.constData(), nullptr, flags, nullptr), 0) << std::strerror(errno);
    }

private:
    static QByteArray options(int megabytes) {
        return QByteArray("size=") + QByteArray::number(megabytes) + "m";
    }
    // Mounts of this process are its own from now on.
    static bool isolate() {
        const uid_t user = getuid();
        const gid_t group = getgid();
        if (user == 0)
            return unshare(CLONE_NEWNS) == 0
                   && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
        return unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && write("/proc/self/setgroups", "deny")
               && write("/proc/self/uid_map", "0 " + QByteArray::number(user) + " 1")
               && write("/proc/self/gid_map", "0 " + QByteArray::number(group) + " 1");
    }
    static bool write(const QString& name, const QByteArray& text) {
        QFile file(name);
        return file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && file.write(text) == text.size();
    }

    QTemporaryDir folder_;
    const QByteArray path_ = QFile::encodeName(folder_.path());
    bool isMounted_ = false;
    std::string refusal_;
};
