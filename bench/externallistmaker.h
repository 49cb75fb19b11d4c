#pragma once

#include <QByteArray>

// An external list of `itemCount` entries as a large catalogue serves it: every entry with all
// its members, and a translation key per entry in `localeCount` of the fourteen locales.
inline QByteArray makeExternalList(int itemCount, int localeCount = 14)
{
    static const char *const locales[]
        = { "en_US", "ru_RU", "de_DE", "fr_FR", "es_ES", "it_IT", "ja_JP",
            "nl_NL", "pl_PL", "pt_BR", "tr_TR", "zh_CN", "ko_KR", "zh_TW" };
    QByteArray out;
    out.reserve(itemCount * (700 + 110 * localeCount));
    out += "{\"translations\": {";
    for (int i = 0; i < itemCount; ++i) {
        out += (i ? ",\n\"" : "\n\"") + QByteArray("Track title number ") + QByteArray::number(i)
            + "\": {";
        for (int l = 0; l < localeCount; ++l)
            out += QByteArray(l ? ", \"" : "\"") + locales[l] + "\": \"" + locales[l]
                + " title of the track number " + QByteArray::number(i)
                + ", a little longer as titles go\"";
        out += "}";
    }
    out += "},\n\"items\": [";
    for (int i = 0; i < itemCount; ++i) {
        const QByteArray n = QByteArray::number(i);
        out += (i ? ",\n" : "\n") + QByteArray("{\"collectionId\": \"")
            + (i % 3 ? "Music" : "Sounds") + "\", \"uniqueId\": \"ext-item-" + n
            + "\", \"downloadUrl\": \"https://content.example/audio/ext-item-" + n
            + ".mp3\", \"remoteSize\": " + QByteArray::number(100000 + i)
            + ", \"tag\": \"Track title number " + n
            + "\", \"description\": \"Description of track " + n
            + "\", \"fileFormat\": \"mp3\", \"author\": \"Author " + QByteArray::number(i % 200)
            + "\", \"source\": \"Example Source\", \"licenseName\": \"CC BY 4.0\", "
              "\"licenseUrl\": \"https://creativecommons.org/licenses/by/4.0/\", "
              "\"commercialUse\": true, \"status\": \""
            + (i % 4 ? "free" : "paid") + "\", \"categories\": [\"Category "
            + QByteArray::number(i % 40) + "\", \"Mood " + QByteArray::number(i % 12)
            + "\"], \"previewUrls\": {\"audio\": \"https://content.example/preview/" + n
            + ".mp3\", \"image\": \"https://content.example/preview/" + n + ".jpg\"}}";
    }
    out += "\n]}\n";
    return out;
}
