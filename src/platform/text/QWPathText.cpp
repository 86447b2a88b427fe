#include "platform/text/QWText.h"

namespace qw::text {

namespace {

// The path without trailing slashes; the root stays.
QStringView withoutTrailingSlashes(QStringView path) {
    while (path.size() > 1 && path.endsWith(u'/'))
        path.chop(1);
    return path;
}

QStringView lastComponent(QStringView path) {
    path = withoutTrailingSlashes(path);
    return path.size() > 1 ? path.mid(path.lastIndexOf(u'/') + 1) : path;
}

// A name that begins with its only full stop is hidden and has no extension.
QStringView extension(QStringView path) {
    const QStringView name = lastComponent(path);
    const qsizetype stop = name.lastIndexOf(u'.');
    return stop > 0 ? name.mid(stop + 1) : QStringView();
}

} // namespace

QStringList components(const QString& text, const QString& separator) {
    return separator.isEmpty() ? QStringList{text} : text.split(separator);
}

QString lastPathComponent(const QString& path) {
    return lastComponent(path).toString();
}

QString pathExtension(const QString& path) {
    return extension(path).toString();
}

QString deletingPathExtension(const QString& path) {
    const QStringView whole = withoutTrailingSlashes(path);
    const qsizetype length = extension(path).size();
    return (length == 0 ? whole : whole.chopped(length + 1)).toString();
}

QStringList pathComponents(const QString& path) {
    QStringList pieces = path.split(u'/', Qt::SkipEmptyParts);
    if (path.startsWith(u'/'))
        pieces.prepend(QStringLiteral("/"));
    if (path.endsWith(u'/') && pieces.size() > 1)
        pieces.append(QStringLiteral("/"));
    return pieces;
}

QString appendingPathComponent(const QString& folder, const QString& component) {
    QStringView name = withoutTrailingSlashes(component);
    while (name.startsWith(u'/'))
        name = name.mid(1);
    const QStringView base = withoutTrailingSlashes(folder);
    if (base.isEmpty() || name.isEmpty())
        return (base.isEmpty() ? withoutTrailingSlashes(component) : base).toString();
    const QLatin1String slash(base.endsWith(u'/') ? "" : "/");
    return base.toString().append(slash).append(name);
}

} // namespace qw::text
