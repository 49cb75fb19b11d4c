#include "Collection/externallist.h"

#include "Constants/locales.h"
#include "Constants/resourcecategories.h"

#include "util/fs.h"

#include <simdjson.h>

#include <array>
#include <cmath>
#include <deque>
#include <limits>
#include <string>
#include <string_view>
#include <unordered_map>

namespace EditorCollection {

namespace {

namespace od = simdjson::ondemand;

// Longer texts are no name, address or description a list would carry; an entry holding one is
// left out rather than kept in memory for the whole run.
constexpr std::size_t maxTextBytes = 64 * 1024;
constexpr int maxPathComponentBytes = 255;
// What a warning quotes of a text from the list.
constexpr int quotedChars = 60;

struct Locales14 {
    std::array<QByteArray, externalListLocaleCount> utf8;
    int enUS = 0;
};

const Locales14 &locales()
{
    static const Locales14 table = [] {
        Locales14 t;
        const auto &all = Locales::supportedLocales();
        for (std::size_t i = 0; i < t.utf8.size() && i < all.size(); ++i) {
            t.utf8[i] = all[i].name.toUtf8();
            if (all[i].name == Locales::FallbackLocale)
                t.enUS = static_cast<int>(i);
        }
        return t;
    }();
    return table;
}

QString quoted(const QString &text)
{
    QString out;
    for (const QChar c : text) {
        if (out.size() >= quotedChars) {
            out += QStringLiteral("...");
            break;
        }
        out += c.unicode() < 0x20 || c.unicode() == 0x7f ? QChar(u'?') : c;
    }
    return out;
}

enum class Kind { None, ShaderEffect, Transition, Audio };

Kind kindOf(const QString &collectionId)
{
    if (collectionId == ResourceCategories::ShaderEffects)
        return Kind::ShaderEffect;
    if (collectionId == ResourceCategories::Transitions)
        return Kind::Transition;
    if (collectionId == ResourceCategories::Music || collectionId == ResourceCategories::Sounds)
        return Kind::Audio;
    return Kind::None;
}

bool hasControlCharacter(const QString &text)
{
    for (const QChar c : text)
        if (c.unicode() < 0x20 || c.unicode() == 0x7f)
            return true;
    return false;
}

// Never null, so a string member that is present and empty differs from a missing one.
QString fromUtf8(std::string_view s)
{
    if (s.empty())
        return QString(QLatin1String(""));
    return QString::fromUtf8(s.data(), static_cast<int>(s.size()));
}

// A string value's text: its bytes straight from the list when it holds no escape (nearly every
// one does not), so the parser writes no copy of them; else the parser's unescaped copy. The
// value must be a string.
std::string_view stringOf(od::value &value)
{
    std::string_view raw = value.raw_json_token();
    {
        while (!raw.empty()
               && (raw.back() == ' ' || raw.back() == '\n' || raw.back() == '\r'
                   || raw.back() == '\t'))
            raw.remove_suffix(1);
        if (raw.size() >= 2 && raw.front() == '"' && raw.back() == '"') {
            const std::string_view inner = raw.substr(1, raw.size() - 2);
            if (inner.find('\\') == std::string_view::npos)
                return inner;
        }
    }
    std::string_view s;
    if (value.get_string().get(s))
        throw simdjson::simdjson_error(simdjson::STRING_ERROR);
    return s;
}

class Reader {
public:
    ExternalList &out;
    QStringList itemWarnings;
    // Names, licences, categories and formats repeat over thousands of entries: one shared
    // string each instead of one allocation per entry. Looked up by the parser's own bytes, so a
    // known word costs no allocation at all.
    std::unordered_map<std::string_view, QString> vocabulary;
    std::deque<std::string> vocabularyBytes;

    explicit Reader(ExternalList &out)
        : out(out)
    {
    }

    // False when the value is too long to keep; `text` is left null for any non-string.
    bool text(od::value value, QString &text, bool shared = false)
    {
        od::json_type type;
        if (value.type().get(type) || type != od::json_type::string) {
            text = QString();
            return true;
        }
        const std::string_view s = stringOf(value);
        if (s.size() > maxTextBytes)
            return false;
        text = shared ? this->shared(s) : fromUtf8(s);
        return true;
    }

    QString shared(std::string_view s)
    {
        const auto it = vocabulary.find(s);
        if (it != vocabulary.end())
            return it->second;
        QString text = fromUtf8(s);
        if (vocabulary.size() < 4096) {
            const std::string &owned = vocabularyBytes.emplace_back(s);
            vocabulary.emplace(std::string_view(owned), text);
        }
        return text;
    }

    static int integer(od::value value)
    {
        od::json_type type;
        if (value.type().get(type) || type != od::json_type::number)
            return 0;
        od::number_type kind;
        if (value.get_number_type().get(kind))
            return 0;
        if (kind == od::number_type::signed_integer) {
            int64_t v = 0;
            if (!value.get_int64().get(v) && v >= std::numeric_limits<int>::min()
                && v <= std::numeric_limits<int>::max())
                return static_cast<int>(v);
            return 0;
        }
        if (kind == od::number_type::unsigned_integer) {
            uint64_t v = 0;
            if (!value.get_uint64().get(v) && v <= std::numeric_limits<int>::max())
                return static_cast<int>(v);
            return 0;
        }
        double d = 0;
        if (value.get_double().get(d) || !(std::abs(d) <= std::numeric_limits<int>::max())
            || d != std::floor(d))
            return 0;
        return static_cast<int>(d);
    }

    static bool boolean(od::value value)
    {
        bool b = false;
        od::json_type type;
        if (value.type().get(type) || type != od::json_type::boolean || value.get_bool().get(b))
            return false;
        return b;
    }

    static od::object objectOf(od::value value, bool &ok)
    {
        od::json_type type;
        od::object object;
        ok = !value.type().get(type) && type == od::json_type::object
            && !value.get_object().get(object);
        return object;
    }

    void translations(od::value value)
    {
        bool ok = false;
        od::object members = objectOf(value, ok);
        if (!ok)
            return;
        const Locales14 &table = locales();
        Translator::TranslationTable &t = out.translations;
        constexpr std::size_t columns = externalListLocaleCount;
        using Span = std::pair<quint32, quint32>;
        constexpr Span missing { std::numeric_limits<quint32>::max(), 0 };
        for (auto member : members) {
            std::string_view key;
            if (member.unescaped_key().get(key))
                throw simdjson::simdjson_error(simdjson::STRING_ERROR);
            // The key may be reused by the next member's unescaping: make it ours first.
            QString name = QString::fromUtf8(key.data(), static_cast<int>(key.size()));
            bool tooLong = key.size() > maxTextBytes;
            const int rowStart = t.utf8.size();
            std::array<Span, columns> spans;
            spans.fill(missing);
            std::size_t next = 0;
            bool isObject = false;
            od::object texts = objectOf(member.value(), isObject);
            if (isObject) {
                for (auto text : texts) {
                    std::string_view locale;
                    if (text.unescaped_key().get(locale))
                        throw simdjson::simdjson_error(simdjson::STRING_ERROR);
                    // Lists give the locales in the same order for every key: try the one
                    // after the last first.
                    for (std::size_t n = 0; n < columns; ++n) {
                        const std::size_t i = (next + n) % columns;
                        if (locale
                            != std::string_view(table.utf8[i].constData(),
                                                static_cast<std::size_t>(table.utf8[i].size())))
                            continue;
                        next = i + 1;
                        od::value v = text.value();
                        od::json_type type;
                        if (v.type().get(type) || type != od::json_type::string)
                            break;
                        const std::string_view s = stringOf(v);
                        if (s.size() > maxTextBytes) {
                            tooLong = true;
                            break;
                        }
                        spans[i] = { static_cast<quint32>(t.utf8.size()),
                                     static_cast<quint32>(s.size()) };
                        t.utf8.append(s.data(), static_cast<int>(s.size()));
                        break;
                    }
                }
            }
            const Span english = spans[static_cast<std::size_t>(table.enUS)];
            if (english == missing || tooLong) {
                t.utf8.truncate(rowStart);
                if (english == missing)
                    out.warnings.append(
                        QStringLiteral("Missing en_US locale for external audio translations!"));
                else
                    out.warnings.append(
                        QStringLiteral("Translation \"%1\" skipped: a text is longer than %2 bytes")
                            .arg(quoted(name))
                            .arg(maxTextBytes));
                continue;
            }
            for (Span &span : spans)
                t.spans.push_back(span == missing ? english : span);
            t.keys.push_back(std::move(name));
        }
    }

    void item(od::value value, int index)
    {
        bool ok = false;
        od::object members = objectOf(value, ok);
        ExternalListEntry entry;
        QString status;
        bool fits = true;
        entry.info = std::make_shared<ExternalResourceInfo>();
        ExternalResourceInfo &info = *entry.info;
        if (ok) {
            for (auto member : members) {
                std::string_view key;
                if (member.unescaped_key().get(key))
                    throw simdjson::simdjson_error(simdjson::STRING_ERROR);
                od::value v = member.value();
                if (key == "collectionId")
                    fits = text(v, entry.collectionId, true) && fits;
                else if (key == "uniqueId")
                    fits = text(v, entry.uniqueId) && fits;
                else if (key == "downloadUrl")
                    fits = text(v, entry.downloadUrl) && fits;
                else if (key == "remoteSize")
                    entry.remoteSize = integer(v);
                else if (key == "tag")
                    fits = text(v, entry.tag) && fits;
                else if (key == "description")
                    fits = text(v, entry.description) && fits;
                else if (key == "fileFormat")
                    fits = text(v, entry.fileFormat, true) && fits;
                else if (key == "author")
                    fits = text(v, info.author, true) && fits;
                else if (key == "source")
                    fits = text(v, info.source, true) && fits;
                else if (key == "licenseName")
                    fits = text(v, info.licenseName, true) && fits;
                else if (key == "licenseUrl")
                    fits = text(v, info.licenseUrl, true) && fits;
                else if (key == "commercialUse")
                    info.commercialUse = boolean(v);
                else if (key == "status")
                    fits = text(v, status, true) && fits;
                else if (key == "categories")
                    fits = categories(v, entry.categories) && fits;
                else if (key == "previewUrls")
                    fits = previews(v, entry.previewUrls) && fits;
            }
        }
        const Kind kind = kindOf(entry.collectionId);
        const auto skip = [&](const QString &why) {
            itemWarnings.append(QStringLiteral("External list item %1 (\"%2\") skipped: %3")
                                    .arg(index)
                                    .arg(quoted(entry.uniqueId), why));
        };
        if (!fits)
            return skip(QStringLiteral("a text is longer than %1 bytes").arg(maxTextBytes));
        if (kind == Kind::None) {
            // Collections without a payload are skipped silently; a name that could reach outside
            // the resources folder is worth a word.
            if (!entry.collectionId.isEmpty() && !isSafePathComponent(entry.collectionId))
                skip(QStringLiteral("its collection id cannot be a folder name"));
            return;
        }
        if (!isSafePathComponent(entry.uniqueId))
            return skip(QStringLiteral("its unique id cannot be a folder name"));
        if (kind == Kind::Audio) {
            if (hasControlCharacter(entry.tag))
                return skip(QStringLiteral("its tag holds control characters"));
            if (!entry.fileFormat.isEmpty() && !isSafePathComponent(entry.fileFormat))
                return skip(QStringLiteral("its file format cannot be a file extension"));
            entry.fileName = cleanedAudioFileName(entry.tag, entry.fileFormat);
            if (!isSafePathComponent(entry.fileName))
                return skip(QStringLiteral("its tag and file format make no file name"));
        } else {
            entry.fileName = entry.tag + QLatin1String(".json");
            if (!isSafePathComponent(entry.fileName))
                return skip(QStringLiteral("its tag cannot be a file name"));
        }
        info.tag = entry.tag;
        if (status == QLatin1String("free")) {
            info.status = ExternalResourceStatus::Free;
        } else {
            if (status != QLatin1String("paid"))
                itemWarnings.append(
                    QStringLiteral("Invalid external audio status: %1").arg(quoted(status)));
            info.status = ExternalResourceStatus::Paid;
        }
        out.items.push_back(std::move(entry));
    }

    bool categories(od::value value, QStringList &names)
    {
        od::json_type type;
        od::array array;
        if (value.type().get(type) || type != od::json_type::array || value.get_array().get(array))
            return true;
        bool fits = true;
        for (auto element : array) {
            od::value v;
            if (element.get(v))
                throw simdjson::simdjson_error(simdjson::TAPE_ERROR);
            QString name;
            fits = text(v, name, true) && fits;
            if (!name.isEmpty() && !names.contains(name))
                names.append(name);
        }
        return fits;
    }

    bool previews(od::value value, std::vector<std::pair<QString, QString>> &urls)
    {
        bool ok = false;
        od::object members = objectOf(value, ok);
        if (!ok)
            return true;
        bool fits = true;
        urls.reserve(3);
        for (auto member : members) {
            std::string_view key;
            if (member.unescaped_key().get(key))
                throw simdjson::simdjson_error(simdjson::STRING_ERROR);
            if (key.size() > maxTextBytes)
                fits = false;
            QString kind = shared(key);
            QString url;
            fits = text(member.value(), url) && fits;
            urls.emplace_back(std::move(kind), std::move(url));
        }
        return fits;
    }
};

} // namespace

ExternalList parseExternalList(const QByteArray &bytes)
{
    ExternalList out;
    for (const QByteArray &locale : locales().utf8)
        out.translations.locales.push_back(QString::fromUtf8(locale));
    // No text outgrows the list that holds it; untouched reserve costs address space only.
    out.translations.utf8.reserve(bytes.size());
    simdjson::padded_string copy;
    simdjson::padded_string_view view;
    const auto size = static_cast<std::size_t>(bytes.size());
    if (static_cast<std::size_t>(bytes.capacity()) >= size + simdjson::SIMDJSON_PADDING) {
        view = simdjson::padded_string_view(bytes.constData(), size,
                                            static_cast<std::size_t>(bytes.capacity()));
    } else {
        copy = simdjson::padded_string(bytes.constData(), size);
        view = simdjson::padded_string_view(copy);
    }
    Reader reader(out);
    try {
        od::parser parser;
        od::document document;
        if (auto error = parser.iterate(view).get(document))
            throw simdjson::simdjson_error(error);
        od::object top;
        if (auto error = document.get_object().get(top))
            throw simdjson::simdjson_error(error);
        for (auto member : top) {
            std::string_view key;
            if (auto error = member.unescaped_key().get(key))
                throw simdjson::simdjson_error(error);
            if (key == "translations") {
                reader.translations(member.value());
            } else if (key == "items") {
                od::json_type type;
                od::array items;
                od::value v = member.value();
                if (v.type().get(type) || type != od::json_type::array || v.get_array().get(items))
                    continue;
                int index = 0;
                for (auto element : items) {
                    od::value item;
                    if (auto error = element.get(item))
                        throw simdjson::simdjson_error(error);
                    reader.item(item, index++);
                }
            }
        }
        const char *rest = nullptr;
        if (document.current_location().get(rest) != simdjson::OUT_OF_BOUNDS)
            throw simdjson::simdjson_error(simdjson::TRAILING_CONTENT);
    } catch (const simdjson::simdjson_error &error) {
        // All or nothing: a list broken half-way adds none of what came before the break.
        ExternalList broken;
        broken.warnings.append(QStringLiteral("External list is not valid JSON: %1")
                                   .arg(QString::fromUtf8(simdjson::error_message(error.error()))));
        return broken;
    }
    out.valid = true;
    out.translations.utf8.squeeze();
    out.warnings += reader.itemWarnings;
    return out;
}

QString cleanedAudioFileName(const QString &tag, const QString &fileFormat)
{
    QString name;
    name.reserve(tag.size() + fileFormat.size() + 1);
    for (const QChar c : tag) {
        const char16_t u = c.unicode();
        const bool keep = (u >= u'a' && u <= u'z') || (u >= u'A' && u <= u'Z')
            || (u >= u'0' && u <= u'9') || u == u' ' || (u >= u'\t' && u <= u'\r');
        if (keep)
            name += c;
    }
    name += QLatin1Char('.');
    name += fileFormat;
    return name;
}

QString externalItemFilePath(const ExternalListEntry &entry, const QString &root)
{
    if (kindOf(entry.collectionId) == Kind::None || entry.fileName.isEmpty())
        return {};
    // Fifty thousand of these per list: one allocation each.
    QString path;
    path.reserve(root.size() + entry.collectionId.size() + entry.uniqueId.size()
                 + entry.fileName.size() + 3);
    path += root;
    if (!root.isEmpty() && !root.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    path += entry.collectionId;
    path += QLatin1Char('/');
    path += entry.uniqueId;
    path += QLatin1Char('/');
    path += entry.fileName;
    return path;
}

bool isSafePathComponent(const QString &text)
{
    if (text.isEmpty() || text == QLatin1String(".") || text.contains(QLatin1String("..")))
        return false;
    int utf8Bytes = 0;
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (u < 0x20 || u == 0x7f || u == u'/' || u == u'\\' || u == u':')
            return false;
        // A surrogate pair is four bytes in UTF-8, two for each half.
        utf8Bytes += u < 0x80 ? 1 : u < 0x800 ? 2 : c.isSurrogate() ? 2 : 3;
    }
    return utf8Bytes <= maxPathComponentBytes;
}

} // namespace EditorCollection
