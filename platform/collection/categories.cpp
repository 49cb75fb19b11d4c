#include "collection/categories.h"

namespace EditorCollection::CategoriesConfig {

CategoryInfo thematicCategoryInfo(const QString &collection)
{
    return CategoryInfo { CategoryType::Thematic, collection };
}

} // namespace EditorCollection::CategoriesConfig

const QString CategoryID::FEATURED = QStringLiteral("FEATURED");

QString Statistics::convertCollectionId(const QString &collection)
{
    QString out;
    out.reserve(collection.size() + 4);
    bool wordEnded = false; // a separator is due before the next word
    for (int i = 0; i < collection.size(); ++i) {
        const QChar c = collection.at(i);
        if (!c.isLetterOrNumber()) {
            wordEnded = !out.isEmpty();
            continue;
        }
        // A capital after a lower-case letter or digit starts a word ("PanAndZoom").
        const bool camelStart = c.isUpper() && i > 0 && collection.at(i - 1).isLetterOrNumber()
            && !collection.at(i - 1).isUpper();
        if ((wordEnded || camelStart) && !out.isEmpty())
            out += QLatin1Char('_');
        wordEnded = false;
        out += c.toUpper();
    }
    return out;
}
