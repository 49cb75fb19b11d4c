#include "Collection/externallist.h"

#include "Constants/locales.h"
#include "Constants/resourcecategories.h"

#include "util/fs.h"

#include <simdjson.h>

#include <QSet>

#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <limits>
#include <optional>
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
// A hostile list may hold a million entries wrong the same way: each kind of warning is told for
// the first few, then once more with the count.
constexpr int examplesPerWarning = 3;

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
    // How often each kind of item warning came, in the order kinds first came.
    std::vector<std::pair<QString, int>> warningCounts;
    // Collection and identifier of every entry kept: the first of two alike wins.
    QSet<QString> seen;
    int overLimit = 0;
    // Names, licences, categories and formats repeat over thousands of entries: one shared
    // string each instead of one allocation per entry. Looked up by the parser's own bytes, so a
    // known word costs no allocation at all.
    std::unordered_map<std::string_view, QString> vocabulary;
    std::deque<std::string> vocabularyBytes;

    explicit Reader(ExternalList &out)
        : out(out)
    {
    }

    void warn(const QString &kind, const QString &text)
    {
        auto it = std::find_if(warningCounts.begin(), warningCounts.end(),
                               [&](const auto &entry) { return entry.first == kind; });
        if (it == warningCounts.end()) {
            warningCounts.emplace_back(kind, 0);
            it = warningCounts.end() - 1;
        }
        if (++it->second <= examplesPerWarning)
            itemWarnings.append(text);
    }

    void closeWarnings()
    {
        for (const auto &[kind, count] : warningCounts) {
            if (count > examplesPerWarning)
                itemWarnings.append(QString::number(count - examplesPerWarning)
                                    + QStringLiteral(" more like \"") + kind
                                    + QStringLiteral("\" (") + QString::number(count)
                                    + QStringLiteral(" in all)"));
        }
        if (overLimit > 0)
            itemWarnings.append(
                QString::number(overLimit) + QStringLiteral(" entries beyond the limit of ")
                + QString::number(maxExternalListItems) + QStringLiteral(" skipped"));
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

    // A size as the list gives it: 0 for a member of another JSON type (as an absent one), and
    // nothing for a number that is no size (negative, fractional, beyond an int, NaN, 1e999):
    // read as 0, it would turn the install's size check off.
    static std::optional<int> size(od::value value)
    {
        od::json_type type;
        if (value.type().get(type))
            return std::nullopt;
        if (type != od::json_type::number)
            return 0;
        od::number_type kind;
        if (value.get_number_type().get(kind))
            return std::nullopt;
        if (kind == od::number_type::signed_integer) {
            int64_t v = 0;
            if (!value.get_int64().get(v) && v >= 0 && v <= std::numeric_limits<int>::max())
                return static_cast<int>(v);
            return std::nullopt;
        }
        if (kind == od::number_type::unsigned_integer) {
            uint64_t v = 0;
            if (!value.get_uint64().get(v) && v <= std::numeric_limits<int>::max())
                return static_cast<int>(v);
            return std::nullopt;
        }
        double d = 0;
        if (value.get_double().get(d) || !(d >= 0 && d <= std::numeric_limits<int>::max())
            || d != std::floor(d))
            return std::nullopt;
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
                    out.warnings.append(QStringLiteral("Translation \"") + quoted(name)
                                        + QStringLiteral("\" skipped: a text is longer than ")
                                        + QString::number(maxTextBytes) + QStringLiteral(" bytes"));
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
        bool sized = true;
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
                else if (key == "remoteSize") {
                    const std::optional<int> bytes = size(v);
                    sized = bytes.has_value();
                    entry.remoteSize = bytes.value_or(0);
                } else if (key == "tag")
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
        // Built by joining, never by chained arg(): a "%1" in the quoted text stays as it is.
        const auto skip = [&](const QString &why) {
            warn(why,
                 QStringLiteral("External list item ") + QString::number(index)
                     + QStringLiteral(" (\"") + quoted(entry.uniqueId)
                     + QStringLiteral("\") skipped: ") + why);
        };
        if (!fits)
            return skip(QStringLiteral("a text is longer than ") + QString::number(maxTextBytes)
                        + QStringLiteral(" bytes"));
        if (kind == Kind::None) {
            // Collections without a payload are skipped silently; a name that could reach outside
            // the resources folder is worth a word.
            if (!entry.collectionId.isEmpty() && !isSafePathComponent(entry.collectionId))
                skip(QStringLiteral("its collection id cannot be a folder name"));
            return;
        }
        if (!isSafePathComponent(entry.uniqueId))
            return skip(QStringLiteral("its unique id cannot be a folder name"));
        if (!sized)
            return skip(QStringLiteral("its remoteSize is not a size in bytes"));
        if (out.items.size() >= maxExternalListItems) {
            ++overLimit;
            return;
        }
        const QString identity = entry.collectionId + QLatin1Char('/') + entry.uniqueId;
        if (seen.contains(identity))
            return skip(QStringLiteral("an earlier entry has the same collection and unique id"));
        if (kind == Kind::Audio) {
            if (hasControlCharacter(entry.tag))
                return skip(QStringLiteral("its tag holds control characters"));
            if (!entry.fileFormat.isEmpty() && !isSafePathComponent(entry.fileFormat))
                return skip(QStringLiteral("its file format cannot be a file extension"));
            entry.fileName = cleanedAudioFileName(entry.tag, entry.fileFormat, entry.uniqueId);
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
                warn(QStringLiteral("Invalid external audio status"),
                     QStringLiteral("Invalid external audio status: ") + quoted(status));
            info.status = ExternalResourceStatus::Paid;
        }
        seen.insert(identity);
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
    reader.closeWarnings();
    out.warnings += reader.itemWarnings;
    return out;
}

namespace {

// The characters of `text` a file name keeps, and whether a letter or digit is among them.
QString cleaned(const QString &text, bool *hasWord)
{
    QString name;
    name.reserve(text.size());
    *hasWord = false;
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        const bool word
            = (u >= u'a' && u <= u'z') || (u >= u'A' && u <= u'Z') || (u >= u'0' && u <= u'9');
        if (word || u == u' ' || (u >= u'\t' && u <= u'\r'))
            name += c;
        *hasWord = *hasWord || word;
    }
    return name;
}

} // namespace

QString cleanedAudioFileName(const QString &tag, const QString &fileFormat, const QString &uniqueId)
{
    bool hasWord = false;
    QString name = cleaned(tag, &hasWord);
    // A tag in another script keeps nothing: the name would be ".mp3", a hidden file, or blanks.
    // The identifier stands in, and a fixed word when it fares no better.
    if (!hasWord) {
        name = cleaned(uniqueId, &hasWord).trimmed();
        if (!hasWord)
            name = QStringLiteral("audio");
    }
    name += QLatin1Char('.');
    name += fileFormat;
    return name;
}

QString externalListRefusal(const QByteArray &bytes)
{
    simdjson::dom::parser parser;
    simdjson::dom::element document;
    const simdjson::padded_string copy(bytes.constData(), static_cast<std::size_t>(bytes.size()));
    if (const auto error = parser.parse(copy).get(document))
        return QStringLiteral("not JSON (") + QString::fromUtf8(simdjson::error_message(error))
            + QLatin1Char(')');
    simdjson::dom::object top;
    if (document.get(top))
        return QStringLiteral("not a JSON object");
    simdjson::dom::array items;
    if (top["items"].get(items))
        return QStringLiteral("no \"items\" array");
    return {};
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
