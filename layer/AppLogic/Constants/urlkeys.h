#pragma once

#include "applogicexport.h"

#include <QString>
#include <QUrl>

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

// The link keys: every external address the editor opens or downloads from is named by one of
// these and looked up in the product's configuration (Customization::appUrl). The values are
// fixed; the names are the keys under which the configuration stores the addresses.
namespace Vantel {

enum URLKeys : std::int32_t {
    INTELMEDIA_ENCODING_MORE_URL_settings = 95,
    NVIDIA_ENCODING_MORE_URL_settings = 96,
    FAQ_URL_menu = 97,
    FAQ_URL_menuabout = 98,
    FAQ_URL_erroroffline = 99,
    HOMEPAGE_URL_menu = 100,
    HOMEPAGE_URL_menuabout = 101,
    HOMEPAGE_URL_socialtab = 102,
    HOMEPAGE_URL = 103,
    DOWNLOAD_URL_checkupdatest = 104,
    HELP_URL_menu = 105,
    LIVECHAT_URL_menu = 106,
    LIVECHAT_URL_other = 107,
    CONTACT_SUPPORT_menu = 108,
    GET_MORE_SOFTWARE_URL_menu = 109,
    CUSTOM_ABOUT_URL = 110,
    CUSTOM_ABOUT_CAPTION_URL = 111,
    THANK_FOR_INSTALL_URL = 112,
    THANK_FOR_REINSTALL_URL = 113,
    FEEDBACK_URL_POST = 114,
    FEEDBACK_URL_GET = 115,
    NPS_URL_POST = 116,
    PRIVACY_POLICY_URL = 117,
    WHAT_IS_PLATFORM_URL = 118,
    DOWNLOAD_PLATFORM_URL_widgetlk = 119,
    WEB_CONFIG_URL = 120,
    SPARKLE_APPCAST_URL = 121,
    FORUM_URL_socialtab = 122,
    FORUM_URL_menu = 123,
    INSTAGRAM_URL_socialtab = 124,
    INSTAGRAM_URL_menu = 125,
    FACEBOOK_URL_socialtab = 126,
    FACEBOOK_URL_menu = 127,
    ODNOKLASSNIKI_URL_socialtab = 128,
    ODNOKLASSNIKI_URL_menu = 129,
    GOOGLE_PLUS_URL_socialtab = 130,
    GOOGLE_PLUS_URL_menu = 131,
    VKONTAKTE_URL_socialtab = 132,
    VKONTAKTE_URL_menu = 133,
    YOU_TUBE_URL_socialtab = 134,
    YOU_TUBE_URL_menu = 135,
    UPLOAD_ITUNES_URL_other = 136,
    DRIVER_UPDATE_GUIDE_URL_other = 137,
    FAQ_URL_erroropengl = 138,
    HOMEPAGE_URL_youtube_description = 139,
    HOMEPAGE_URL_vimeo_description = 140,
    VANTEL_CLOUD_HOST_URL = 141,
    HELP_URL_start_dialog = 142,
    HELP_URL_supported_formats = 143,
    GOOGLE_PRIVACY_POLICY_URL_export_dialog = 144,
    GOOGLE_PRIVACY_POLICY_URL = 145,
    YOUTUBE_TERMS_URL_export_dialog = 146,
    GOOGLE_ACCOUNT_URL_export_dialog = 147,
    YOUTUBE_TERMS_OF_SERVICES_URL = 148,
    GOOGLE_SECURITY_PERMISSIONS_URL = 149,
    CHECK_FOR_UPDATES_URL = 150,
    CHANGELOG_URL = 151,
    YOU_TUBE_URL_tutorial = 152,
    COLLECTIONS_EXTERNAL_AUDIO_URL = 153,
    COLLECTIONS_EXTERNAL_EFFECTS_URL = 154,
    MS_EXTENSION_VIDEO_h265notification = 155,
    MS_EXTENSION_IMAGE_h265notification = 156,
    CONVERT_LINK_h265notification = 157,
    COLLECTIONS_TRENDING_REQUEST_URL = 158,
    VIDEOBLOCKS_URL_other_import = 159,
    AUDIOBLOCKS_URL_other_import = 160,
    GRAPHICSTOCK_URL_other_import = 161,
    COLLECTION_PROMO_FEED = 162,
    FTHD_MORE_URL_settings = 163,
    ACCELERATION_LEARNMORE_URL_settings = 164,
    HOW_TO_CREATE_SLIDESHOW_URL_newprojectdialog = 165,
    HOW_TO_CREATE_ONLINE_COURSE_URL_start_dialog = 166,
    HOW_TO_RECORD_LECTURES_URL_start_dialog = 167,
    HOW_TO_MAKE_VIDEO_IN_5MIN_URL_start_dialog = 168,
    HOW_TO_RECORD_AND_DOWNLOAD_LECTURES_URL_start_dialog = 169,
    HOW_TO_EDIT_AND_ENHANCE_URL_start_dialog = 170,
    HOW_TO_ALL_URL_start_dialog = 171,
    HOW_TO_ALL_VIDEOS_URL_start_dialog = 172,
    USER_GUIDE_URL_newprojectdialog = 173,
    COLLECT_EMAIL_URL = 174,
    TUTORIAL_URL_color_adjustments = 175,
    TUTORIAL_URL_crop_rotate = 176,
    TUTORIAL_URL_overlay = 177,
    TUTORIAL_URL_pan_zoom = 178,
    TUTORIAL_URL_stabilization = 179,
    TUTORIAL_URL_animation = 180,
    TUTORIAL_URL_highlight_conceal = 181,
    TUTORIAL_URL_chroma_key = 182,
    TUTORIAL_URL_logo = 183,
    TUTORIAL_URL_synchronization = 184,
    TUTORIAL_URL_equalizer = 185,
    TUTORIAL_URL_noise_removal = 186,
    TUTORIAL_URL_reverb = 187,
    TUTORIAL_URL_compressor = 188,
    TUTORIAL_URL_noise_gate = 189,
    TUTORIAL_URL_audio_effects = 190,
    TUTORIAL_URL_audio_enhance = 191,
    TUTORIAL_URL_beat_detection = 192,
    TUTORIAL_URL_stickers = 193,
    TUTORIAL_URL_titles = 194,
    TUTORIAL_URL_transitions = 195,
    TUTORIAL_URL_filters = 196,
    TUTORIAL_URL_import = 197,
    TUTORIAL_URL_motion_tracking = 198,
    TUTORIAL_URL_background_removal = 199,
    TUTORIAL_URL_shader_effect_settings = 200,
    CODEC_SETTINGS_URL_h264 = 201,
    GUIDEGIFS_URL = 202,
    INTEL_INSTALL_RSSDK_URL_rssdk = 203,
    INTEL_RSSDK_ABOUT_URL_rssdk = 204,
};

// Every key in table order, with its name.
APPLOGIC_EXPORT const std::vector<std::pair<URLKeys, QString>> &urlKeyTable();
// The key's name; empty for a value outside the table.
APPLOGIC_EXPORT QString urlKeyName(URLKeys key);
// The key a name stands for, matched exactly (case counts).
APPLOGIC_EXPORT std::optional<URLKeys> urlKeyFromName(const QString &name);
// The address the product configuration gives the key; empty when it gives none.
APPLOGIC_EXPORT QUrl appUrl(URLKeys key);

} // namespace Vantel
