#pragma once

#include "collection_export.h"

#include <QString>

// How a collection files its items: by theme (the categories a list names), or in the service
// categories every collection has (featured, favourites, installed).
namespace EditorCollection {

enum class CategoryType : int { Thematic = 0, Service = 1 };

struct CategoryInfo {
    CategoryType type = CategoryType::Thematic;
    // The collection the category belongs to.
    QString collection;
};

namespace CategoriesConfig {
// The information a category named by a list gets in `collection`.
COLLECTION_EXPORT CategoryInfo thematicCategoryInfo(const QString &collection);
} // namespace CategoriesConfig

} // namespace EditorCollection

namespace CategoryID {
// Items chosen for the featured shelf carry this category.
COLLECTION_EXPORT extern const QString FEATURED;
} // namespace CategoryID

namespace Statistics {
// A collection's name as the usage statistics send it: upper case, words joined by underscores
// ("Shader effects" -> "SHADER_EFFECTS", "PanAndZoom" -> "PAN_AND_ZOOM"); empty for empty.
COLLECTION_EXPORT QString convertCollectionId(const QString &collection);
} // namespace Statistics
