// Names and paths from the cloud: none leads out of the folder that it is meant for, and those that this
// library makes come back as they were.
#include "Fuzzing.h"

#include "dropbox/DBPath.h"
#include "platform/text/QWText.h"
#include "sync/QWSyncFileNames_p.h"

#include <QDir>

using namespace qw::sync;

namespace {

// Whether a file of that name is one right in the folder that it is made in, on every system.
bool staysInItsFolder(const QString& name) {
    return !name.isEmpty() && name != "." && name != ".." && !name.contains('/') && !name.contains('\\')
           && !name.contains(QChar(0)) && name.toUtf8().size() <= 255
           && QDir::cleanPath("/cache/" + name) == "/cache/" + name;
}

// As records are looked up.
bool isSame(const QString& left, const QString& right) {
    return qw::text::foldCase(left) == qw::text::foldCase(right);
}

void checkName(const QString& name) {
    const auto download = downloadFileName(name);
    require(!download || staysInItsFolder(*download), "a download stays in its folder");

    const auto named = objectNamedByFile(name);
    require(named.has_value() == !uuidNamedByFile(name).isEmpty() || name.count('.') > 1,
            "a name with one extension has an object exactly when it has a uuid");
    if (!named || !canNameFiles(named->uuid, named->entityName) || !staysInItsFolder(named->entityName))
        return; // no model has such an entity
    require(staysInItsFolder(stagingFileName(named->uuid)), "a staged record stays in its folder");
    for (const bool isImage : {false, true}) {
        const QString own = fileName(named->uuid, named->entityName, isImage);
        require(staysInItsFolder(own), "a file of the sync folder stays there");
        require(downloadFileName(own).has_value(), "what one desktop sends another can download");
        // The service reports names in lower case.
        for (const QString& reported : {own, qw::text::lowercase(own)}) {
            const auto again = objectNamedByFile(reported);
            require(again && isSame(again->uuid, named->uuid) && isSame(again->entityName, named->entityName),
                    "the name of a file gives back the object");
        }
    }
}

void checkPath(const QString& path) {
    if (path.endsWith("//"))
        return; // no place of the service
    const QString lower = lowercaseDropboxPath(path);
    require(isEqualToDropboxPath(path, path) && isEqualToDropboxPath(path, lower),
            "a path names the same place as its lower-case form");
    require(lowercaseDropboxPath(lower) == lower, "a lower-case path stays as it is");
    require(!(isSyncFolder(path) && isPreferencesFile(path)), "a path names one place");
    checkName(path.section('/', -1));
}

} // namespace

void runInput(const QByteArray& input) {
    // As UTF-8, and as any UTF-16 units: JSON can spell halves of pairs.
    QString units(input.size() / 2, Qt::Uninitialized);
    std::copy_n(reinterpret_cast<const uchar*>(input.constData()), units.size() * 2,
                reinterpret_cast<uchar*>(units.data()));
    for (const QString& text : {QString::fromUtf8(input), units}) {
        checkName(text);
        checkPath(text);
    }
}
