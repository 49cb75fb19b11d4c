#include "Constants/urlkeys.h"

#include "customization/customization.h"

#include <QHash>

namespace Vantel {

namespace {

// Built once, at library load; read-only afterwards, so any thread may read it.
const std::vector<std::pair<URLKeys, QString>> table = {
    { INTELMEDIA_ENCODING_MORE_URL_settings,
      QStringLiteral("INTELMEDIA_ENCODING_MORE_URL_settings") },
    { NVIDIA_ENCODING_MORE_URL_settings, QStringLiteral("NVIDIA_ENCODING_MORE_URL_settings") },
    { FAQ_URL_menu, QStringLiteral("FAQ_URL_menu") },
    { FAQ_URL_menuabout, QStringLiteral("FAQ_URL_menuabout") },
    { FAQ_URL_erroroffline, QStringLiteral("FAQ_URL_erroroffline") },
    { HOMEPAGE_URL_menu, QStringLiteral("HOMEPAGE_URL_menu") },
    { HOMEPAGE_URL_menuabout, QStringLiteral("HOMEPAGE_URL_menuabout") },
    { HOMEPAGE_URL_socialtab, QStringLiteral("HOMEPAGE_URL_socialtab") },
    { HOMEPAGE_URL, QStringLiteral("HOMEPAGE_URL") },
    { DOWNLOAD_URL_checkupdatest, QStringLiteral("DOWNLOAD_URL_checkupdatest") },
    { HELP_URL_menu, QStringLiteral("HELP_URL_menu") },
    { LIVECHAT_URL_menu, QStringLiteral("LIVECHAT_URL_menu") },
    { LIVECHAT_URL_other, QStringLiteral("LIVECHAT_URL_other") },
    { CONTACT_SUPPORT_menu, QStringLiteral("CONTACT_SUPPORT_menu") },
    { GET_MORE_SOFTWARE_URL_menu, QStringLiteral("GET_MORE_SOFTWARE_URL_menu") },
    { CUSTOM_ABOUT_URL, QStringLiteral("CUSTOM_ABOUT_URL") },
    { CUSTOM_ABOUT_CAPTION_URL, QStringLiteral("CUSTOM_ABOUT_CAPTION_URL") },
    { THANK_FOR_INSTALL_URL, QStringLiteral("THANK_FOR_INSTALL_URL") },
    { THANK_FOR_REINSTALL_URL, QStringLiteral("THANK_FOR_REINSTALL_URL") },
    { FEEDBACK_URL_POST, QStringLiteral("FEEDBACK_URL_POST") },
    { FEEDBACK_URL_GET, QStringLiteral("FEEDBACK_URL_GET") },
    { NPS_URL_POST, QStringLiteral("NPS_URL_POST") },
    { PRIVACY_POLICY_URL, QStringLiteral("PRIVACY_POLICY_URL") },
    { WHAT_IS_PLATFORM_URL, QStringLiteral("WHAT_IS_PLATFORM_URL") },
    { DOWNLOAD_PLATFORM_URL_widgetlk, QStringLiteral("DOWNLOAD_PLATFORM_URL_widgetlk") },
    { WEB_CONFIG_URL, QStringLiteral("WEB_CONFIG_URL") },
    { SPARKLE_APPCAST_URL, QStringLiteral("SPARKLE_APPCAST_URL") },
    { FORUM_URL_socialtab, QStringLiteral("FORUM_URL_socialtab") },
    { FORUM_URL_menu, QStringLiteral("FORUM_URL_menu") },
    { INSTAGRAM_URL_socialtab, QStringLiteral("INSTAGRAM_URL_socialtab") },
    { INSTAGRAM_URL_menu, QStringLiteral("INSTAGRAM_URL_menu") },
    { FACEBOOK_URL_socialtab, QStringLiteral("FACEBOOK_URL_socialtab") },
    { FACEBOOK_URL_menu, QStringLiteral("FACEBOOK_URL_menu") },
    { ODNOKLASSNIKI_URL_socialtab, QStringLiteral("ODNOKLASSNIKI_URL_socialtab") },
    { ODNOKLASSNIKI_URL_menu, QStringLiteral("ODNOKLASSNIKI_URL_menu") },
    { GOOGLE_PLUS_URL_socialtab, QStringLiteral("GOOGLE_PLUS_URL_socialtab") },
    { GOOGLE_PLUS_URL_menu, QStringLiteral("GOOGLE_PLUS_URL_menu") },
    { VKONTAKTE_URL_socialtab, QStringLiteral("VKONTAKTE_URL_socialtab") },
    { VKONTAKTE_URL_menu, QStringLiteral("VKONTAKTE_URL_menu") },
    { YOU_TUBE_URL_socialtab, QStringLiteral("YOU_TUBE_URL_socialtab") },
    { YOU_TUBE_URL_menu, QStringLiteral("YOU_TUBE_URL_menu") },
    { UPLOAD_ITUNES_URL_other, QStringLiteral("UPLOAD_ITUNES_URL_other") },
    { DRIVER_UPDATE_GUIDE_URL_other, QStringLiteral("DRIVER_UPDATE_GUIDE_URL_other") },
    { FAQ_URL_erroropengl, QStringLiteral("FAQ_URL_erroropengl") },
    { HOMEPAGE_URL_youtube_description, QStringLiteral("HOMEPAGE_URL_youtube_description") },
    { HOMEPAGE_URL_vimeo_description, QStringLiteral("HOMEPAGE_URL_vimeo_description") },
    { VANTEL_CLOUD_HOST_URL, QStringLiteral("VANTEL_CLOUD_HOST_URL") },
    { HELP_URL_start_dialog, QStringLiteral("HELP_URL_start_dialog") },
    { HELP_URL_supported_formats, QStringLiteral("HELP_URL_supported_formats") },
    { GOOGLE_PRIVACY_POLICY_URL_export_dialog,
      QStringLiteral("GOOGLE_PRIVACY_POLICY_URL_export_dialog") },
    { GOOGLE_PRIVACY_POLICY_URL, QStringLiteral("GOOGLE_PRIVACY_POLICY_URL") },
    { YOUTUBE_TERMS_URL_export_dialog, QStringLiteral("YOUTUBE_TERMS_URL_export_dialog") },
    { GOOGLE_ACCOUNT_URL_export_dialog, QStringLiteral("GOOGLE_ACCOUNT_URL_export_dialog") },
    { YOUTUBE_TERMS_OF_SERVICES_URL, QStringLiteral("YOUTUBE_TERMS_OF_SERVICES_URL") },
    { GOOGLE_SECURITY_PERMISSIONS_URL, QStringLiteral("GOOGLE_SECURITY_PERMISSIONS_URL") },
    { CHECK_FOR_UPDATES_URL, QStringLiteral("CHECK_FOR_UPDATES_URL") },
    { CHANGELOG_URL, QStringLiteral("CHANGELOG_URL") },
    { YOU_TUBE_URL_tutorial, QStringLiteral("YOU_TUBE_URL_tutorial") },
    { COLLECTIONS_EXTERNAL_AUDIO_URL, QStringLiteral("COLLECTIONS_EXTERNAL_AUDIO_URL") },
    { COLLECTIONS_EXTERNAL_EFFECTS_URL, QStringLiteral("COLLECTIONS_EXTERNAL_EFFECTS_URL") },
    { MS_EXTENSION_VIDEO_h265notification, QStringLiteral("MS_EXTENSION_VIDEO_h265notification") },
    { MS_EXTENSION_IMAGE_h265notification, QStringLiteral("MS_EXTENSION_IMAGE_h265notification") },
    { CONVERT_LINK_h265notification, QStringLiteral("CONVERT_LINK_h265notification") },
    { COLLECTIONS_TRENDING_REQUEST_URL, QStringLiteral("COLLECTIONS_TRENDING_REQUEST_URL") },
    { VIDEOBLOCKS_URL_other_import, QStringLiteral("VIDEOBLOCKS_URL_other_import") },
    { AUDIOBLOCKS_URL_other_import, QStringLiteral("AUDIOBLOCKS_URL_other_import") },
    { GRAPHICSTOCK_URL_other_import, QStringLiteral("GRAPHICSTOCK_URL_other_import") },
    { COLLECTION_PROMO_FEED, QStringLiteral("COLLECTION_PROMO_FEED") },
    { FTHD_MORE_URL_settings, QStringLiteral("FTHD_MORE_URL_settings") },
    { ACCELERATION_LEARNMORE_URL_settings, QStringLiteral("ACCELERATION_LEARNMORE_URL_settings") },
    { HOW_TO_CREATE_SLIDESHOW_URL_newprojectdialog,
      QStringLiteral("HOW_TO_CREATE_SLIDESHOW_URL_newprojectdialog") },
    { HOW_TO_CREATE_ONLINE_COURSE_URL_start_dialog,
      QStringLiteral("HOW_TO_CREATE_ONLINE_COURSE_URL_start_dialog") },
    { HOW_TO_RECORD_LECTURES_URL_start_dialog,
      QStringLiteral("HOW_TO_RECORD_LECTURES_URL_start_dialog") },
    { HOW_TO_MAKE_VIDEO_IN_5MIN_URL_start_dialog,
      QStringLiteral("HOW_TO_MAKE_VIDEO_IN_5MIN_URL_start_dialog") },
    { HOW_TO_RECORD_AND_DOWNLOAD_LECTURES_URL_start_dialog,
      QStringLiteral("HOW_TO_RECORD_AND_DOWNLOAD_LECTURES_URL_start_dialog") },
    { HOW_TO_EDIT_AND_ENHANCE_URL_start_dialog,
      QStringLiteral("HOW_TO_EDIT_AND_ENHANCE_URL_start_dialog") },
    { HOW_TO_ALL_URL_start_dialog, QStringLiteral("HOW_TO_ALL_URL_start_dialog") },
    { HOW_TO_ALL_VIDEOS_URL_start_dialog, QStringLiteral("HOW_TO_ALL_VIDEOS_URL_start_dialog") },
    { USER_GUIDE_URL_newprojectdialog, QStringLiteral("USER_GUIDE_URL_newprojectdialog") },
    { COLLECT_EMAIL_URL, QStringLiteral("COLLECT_EMAIL_URL") },
    { TUTORIAL_URL_color_adjustments, QStringLiteral("TUTORIAL_URL_color_adjustments") },
    { TUTORIAL_URL_crop_rotate, QStringLiteral("TUTORIAL_URL_crop_rotate") },
    { TUTORIAL_URL_overlay, QStringLiteral("TUTORIAL_URL_overlay") },
    { TUTORIAL_URL_pan_zoom, QStringLiteral("TUTORIAL_URL_pan_zoom") },
    { TUTORIAL_URL_stabilization, QStringLiteral("TUTORIAL_URL_stabilization") },
    { TUTORIAL_URL_animation, QStringLiteral("TUTORIAL_URL_animation") },
    { TUTORIAL_URL_highlight_conceal, QStringLiteral("TUTORIAL_URL_highlight_conceal") },
    { TUTORIAL_URL_chroma_key, QStringLiteral("TUTORIAL_URL_chroma_key") },
    { TUTORIAL_URL_logo, QStringLiteral("TUTORIAL_URL_logo") },
    { TUTORIAL_URL_synchronization, QStringLiteral("TUTORIAL_URL_synchronization") },
    { TUTORIAL_URL_equalizer, QStringLiteral("TUTORIAL_URL_equalizer") },
    { TUTORIAL_URL_noise_removal, QStringLiteral("TUTORIAL_URL_noise_removal") },
    { TUTORIAL_URL_reverb, QStringLiteral("TUTORIAL_URL_reverb") },
    { TUTORIAL_URL_compressor, QStringLiteral("TUTORIAL_URL_compressor") },
    { TUTORIAL_URL_noise_gate, QStringLiteral("TUTORIAL_URL_noise_gate") },
    { TUTORIAL_URL_audio_effects, QStringLiteral("TUTORIAL_URL_audio_effects") },
    { TUTORIAL_URL_audio_enhance, QStringLiteral("TUTORIAL_URL_audio_enhance") },
    { TUTORIAL_URL_beat_detection, QStringLiteral("TUTORIAL_URL_beat_detection") },
    { TUTORIAL_URL_stickers, QStringLiteral("TUTORIAL_URL_stickers") },
    { TUTORIAL_URL_titles, QStringLiteral("TUTORIAL_URL_titles") },
    { TUTORIAL_URL_transitions, QStringLiteral("TUTORIAL_URL_transitions") },
    { TUTORIAL_URL_filters, QStringLiteral("TUTORIAL_URL_filters") },
    { TUTORIAL_URL_import, QStringLiteral("TUTORIAL_URL_import") },
    { TUTORIAL_URL_motion_tracking, QStringLiteral("TUTORIAL_URL_motion_tracking") },
    { TUTORIAL_URL_background_removal, QStringLiteral("TUTORIAL_URL_background_removal") },
    { TUTORIAL_URL_shader_effect_settings, QStringLiteral("TUTORIAL_URL_shader_effect_settings") },
    { CODEC_SETTINGS_URL_h264, QStringLiteral("CODEC_SETTINGS_URL_h264") },
    { GUIDEGIFS_URL, QStringLiteral("GUIDEGIFS_URL") },
    { INTEL_INSTALL_RSSDK_URL_rssdk, QStringLiteral("INTEL_INSTALL_RSSDK_URL_rssdk") },
    { INTEL_RSSDK_ABOUT_URL_rssdk, QStringLiteral("INTEL_RSSDK_ABOUT_URL_rssdk") },
};

const QHash<QString, URLKeys> byName = [] {
    QHash<QString, URLKeys> names;
    for (const auto &[key, name] : table)
        names.insert(name, key);
    return names;
}();

} // namespace

const std::vector<std::pair<URLKeys, QString>> &urlKeyTable()
{
    return table;
}

QString urlKeyName(URLKeys key)
{
    const std::int64_t index = static_cast<std::int64_t>(key) - table.front().first;
    if (index < 0 || index >= static_cast<std::int64_t>(table.size()))
        return {};
    return table[static_cast<std::size_t>(index)].second;
}

std::optional<URLKeys> urlKeyFromName(const QString &name)
{
    const auto it = byName.constFind(name);
    return it == byName.constEnd() ? std::nullopt : std::optional<URLKeys>(*it);
}

QUrl appUrl(URLKeys key)
{
    const QString name = urlKeyName(key);
    return name.isEmpty() ? QUrl() : Customization::appUrl(name);
}

} // namespace Vantel
