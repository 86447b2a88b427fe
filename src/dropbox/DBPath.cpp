#include "dropbox/DBPath.h"

#include "platform/text/QWText.h"

bool isEqualToDropboxPath(const QString& left, const QString& right) {
    return lowercaseDropboxPath(left) == lowercaseDropboxPath(right);
}

QString lowercaseDropboxPath(const QString& path) {
    QString lowercase = qw::text::lowercase(path);
    if (lowercase.endsWith(QLatin1Char('/')))
        lowercase.chop(1);
    return lowercase;
}

QString dropboxPath(const QString& folder, const QString& filename) {
    const QLatin1Char slash('/');
    return (folder.endsWith(slash) ? folder : folder + slash) + filename;
}
