#include "editing/QWValueTransformer.h"

#include "editing/QWNSStringNSArrayTransformer.h"
#include "editing/QWOrderedSetArrayValueTransformer.h"

#include <QHash>

namespace {

auto& transformersByName() {
    static QHash<QString, std::shared_ptr<const QWValueTransformer>> transformers{
        {"QWNSStringNSArrayTransformer", std::make_shared<QWNSStringNSArrayTransformer>()},
        {"QWOrderedSetArrayValueTransformer", std::make_shared<QWOrderedSetArrayValueTransformer>()}};
    return transformers;
}

} // namespace

QWValueTransformer::~QWValueTransformer() = default;

void QWValueTransformer::setValueTransformer(const std::shared_ptr<const QWValueTransformer>& transformer,
                                             const QString& name) {
    transformersByName().insert(name, transformer);
}

std::shared_ptr<const QWValueTransformer> QWValueTransformer::valueTransformerForName(const QString& name) {
    return transformersByName().value(name);
}
