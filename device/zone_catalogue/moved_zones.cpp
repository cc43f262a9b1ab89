// SPDX-License-Identifier: GPL-2.0-or-later
#include "zone_catalogue/moved_zones.h"

namespace {

/// One line per offered name, then the files to try, in order, when there is none
/// of that name.  Some names live outside their continent's folder; others are
/// old, and a distribution may install the files of old names apart or leave them
/// out.  Each line therefore ends in a zone that every distribution has.
///
/// One text, rather than an array of pointers to many: it needs no relocation and
/// stays in pages that are shared and read only when a zone is set.
constexpr std::string_view moved_zones = R"(Africa/Accra Africa/Abidjan
Africa/Addis_Ababa Africa/Nairobi
Africa/Asmara Africa/Nairobi
Africa/Asmera Africa/Asmara Africa/Nairobi
Africa/Bamako Africa/Abidjan
Africa/Bangui Africa/Lagos
Africa/Banjul Africa/Abidjan
Africa/Blantyre Africa/Maputo
Africa/Brazzaville Africa/Lagos
Africa/Bujumbura Africa/Maputo
Africa/Conakry Africa/Abidjan
Africa/Dakar Africa/Abidjan
Africa/Dar_es_Salaam Africa/Nairobi
Africa/Djibouti Africa/Nairobi
Africa/Douala Africa/Lagos
Africa/Egypt Egypt Africa/Cairo
Africa/Freetown Africa/Abidjan
Africa/Gaborone Africa/Maputo
Africa/Harare Africa/Maputo
Africa/Kampala Africa/Nairobi
Africa/Kigali Africa/Maputo
Africa/Kinshasa Africa/Lagos
Africa/Libreville Africa/Lagos
Africa/Libya Libya Africa/Tripoli
Africa/Lome Africa/Abidjan
Africa/Luanda Africa/Lagos
Africa/Lubumbashi Africa/Maputo
Africa/Lusaka Africa/Maputo
Africa/Malabo Africa/Lagos
Africa/Maseru Africa/Johannesburg
Africa/Mbabane Africa/Johannesburg
Africa/Mogadishu Africa/Nairobi
Africa/Niamey Africa/Lagos
Africa/Nouakchott Africa/Abidjan
Africa/Ouagadougou Africa/Abidjan
Africa/Porto-Novo Africa/Lagos
Africa/Timbuktu Africa/Bamako Africa/Abidjan
Africa/Zulu Zulu Etc/Zulu Etc/UTC
America/Acre Brazil/Acre America/Rio_Branco
America/Alaska US/Alaska America/Anchorage
America/Aleutian US/Aleutian America/Adak
America/Anguilla America/Puerto_Rico
America/Antigua America/Puerto_Rico
America/Arizona US/Arizona America/Phoenix
America/Aruba America/Puerto_Rico
America/Atikokan America/Panama
America/Atka America/Adak
America/BajaNorte Mexico/BajaNorte America/Tijuana
America/BajaSur Mexico/BajaSur America/Mazatlan
America/Beulah America/North_Dakota/Beulah
America/Blanc-Sablon America/Puerto_Rico
America/Buenos_Aires America/Argentina/Buenos_Aires
America/Catamarca America/Argentina/Catamarca
America/Cayman America/Panama
America/Center America/North_Dakota/Center
America/ComodRivadavia America/Argentina/ComodRivadavia America/Argentina/Catamarca
America/Coral_Harbour America/Atikokan America/Panama
America/Cordoba America/Argentina/Cordoba
America/Creston America/Phoenix
America/Cuba Cuba America/Havana
America/Curacao America/Puerto_Rico
America/DeNoronha Brazil/DeNoronha America/Noronha
America/Dominica America/Puerto_Rico
America/Ensenada America/Tijuana
America/Fort_Wayne America/Indiana/Indianapolis
America/Godthab America/Nuuk
America/Grenada America/Puerto_Rico
America/Guadeloupe America/Puerto_Rico
America/Hawaii US/Hawaii Pacific/Honolulu
America/Indianapolis America/Indiana/Indianapolis
America/Jujuy America/Argentina/Jujuy
America/Knox America/Indiana/Knox
America/Knox_IN America/Indiana/Knox
America/Kralendijk America/Puerto_Rico
America/La_Rioja America/Argentina/La_Rioja
America/Louisville America/Kentucky/Louisville
America/Lower_Princes America/Puerto_Rico
America/Marengo America/Indiana/Marengo
America/Marigot America/Puerto_Rico
America/Mendoza America/Argentina/Mendoza
America/Michigan US/Michigan America/Detroit
America/Monticello America/Kentucky/Monticello
America/Montreal America/Toronto
America/Montserrat America/Puerto_Rico
America/Nassau America/Toronto
America/Navajo Navajo America/Denver
America/New_Salem America/North_Dakota/New_Salem
America/Newfoundland Canada/Newfoundland America/St_Johns
America/Nipigon America/Toronto
America/Pangnirtung America/Iqaluit
America/Petersburg America/Indiana/Petersburg
America/Port_of_Spain America/Puerto_Rico
America/Porto_Acre America/Rio_Branco
America/Rainy_River America/Winnipeg
America/Rio_Gallegos America/Argentina/Rio_Gallegos
America/Rosario America/Argentina/Cordoba
America/Salta America/Argentina/Salta
America/San_Juan America/Argentina/San_Juan
America/San_Luis America/Argentina/San_Luis
America/Santa_Isabel America/Tijuana
America/Shiprock America/Denver
America/St_Barthelemy America/Puerto_Rico
America/St_Kitts America/Puerto_Rico
America/St_Lucia America/Puerto_Rico
America/St_Thomas America/Puerto_Rico
America/St_Vincent America/Puerto_Rico
America/Tell_City America/Indiana/Tell_City
America/Thunder_Bay America/Toronto
America/Tortola America/Puerto_Rico
America/Tucuman America/Argentina/Tucuman
America/Ushuaia America/Argentina/Ushuaia
America/Vevay America/Indiana/Vevay
America/Vincennes America/Indiana/Vincennes
America/Virgin America/St_Thomas America/Puerto_Rico
America/Winamac America/Indiana/Winamac
America/Yellowknife America/Edmonton
Indian/Antananarivo Africa/Nairobi
Indian/Christmas Asia/Bangkok
Indian/Cocos Asia/Yangon
Indian/Comoro Africa/Nairobi
Indian/Kerguelen Indian/Maldives
Indian/Mahe Asia/Dubai
Indian/Mayotte Africa/Nairobi
Indian/Reunion Asia/Dubai
Asia/Aden Asia/Riyadh
Asia/Ashkhabad Asia/Ashgabat
Asia/Bahrain Asia/Qatar
Asia/Brunei Asia/Kuching
Asia/Calcutta Asia/Kolkata
Asia/Choibalsan Asia/Ulaanbaatar
Asia/Chongqing Asia/Shanghai
Asia/Chungking Asia/Shanghai
Asia/Dacca Asia/Dhaka
Asia/Harbin Asia/Shanghai
Asia/Iran Iran Asia/Tehran
Asia/Israel Israel Asia/Jerusalem
Asia/Istanbul Europe/Istanbul
Asia/Japan Japan Asia/Tokyo
Asia/Kashgar Asia/Urumqi
Asia/Katmandu Asia/Kathmandu
Asia/Kuala_Lumpur Asia/Singapore
Asia/Kuwait Asia/Riyadh
Asia/Macao Asia/Macau
Asia/Muscat Asia/Dubai
Asia/Phnom_Penh Asia/Bangkok
Asia/Rangoon Asia/Yangon
Asia/Saigon Asia/Ho_Chi_Minh
Asia/Tel_Aviv Asia/Jerusalem
Asia/Thimbu Asia/Thimphu
Asia/Turkey Turkey Europe/Istanbul
Asia/Ujung_Pandang Asia/Makassar
Asia/Ulan_Bator Asia/Ulaanbaatar
Asia/Vientiane Asia/Bangkok
Atlantic/Faeroe Atlantic/Faroe
Atlantic/Jan_Mayen Europe/Oslo Europe/Berlin
Atlantic/Reykjavik Africa/Abidjan
Atlantic/St_Helena Africa/Abidjan
Europe/Amsterdam Europe/Brussels
Europe/Belfast Europe/London
Europe/Bratislava Europe/Prague
Europe/Busingen Europe/Zurich
Europe/Copenhagen Europe/Berlin
Europe/Eire Eire Europe/Dublin
Europe/Greenwich Greenwich Etc/Greenwich Etc/GMT
Europe/Guernsey Europe/London
Europe/Iceland Iceland Atlantic/Reykjavik Africa/Abidjan
Europe/Isle_of_Man Europe/London
Europe/Jersey Europe/London
Europe/Kiev Europe/Kyiv
Europe/Ljubljana Europe/Belgrade
Europe/Luxembourg Europe/Brussels
Europe/Mariehamn Europe/Helsinki
Europe/Monaco Europe/Paris
Europe/Oslo Europe/Berlin
Europe/Podgorica Europe/Belgrade
Europe/Poland Poland Europe/Warsaw
Europe/Portugal Portugal Europe/Lisbon
Europe/San_Marino Europe/Rome
Europe/Sarajevo Europe/Belgrade
Europe/Skopje Europe/Belgrade
Europe/Stockholm Europe/Berlin
Europe/Tiraspol Europe/Chisinau
Europe/Uzhgorod Europe/Kyiv
Europe/Vaduz Europe/Zurich
Europe/Vatican Europe/Rome
Europe/Zagreb Europe/Belgrade
Europe/Zaporozhye Europe/Kyiv
Australia/Canberra Australia/Sydney
Australia/Currie Australia/Hobart
Australia/NSW Australia/Sydney
Australia/Queensland Australia/Brisbane
Australia/Tasmania Australia/Hobart
Australia/Victoria Australia/Melbourne
Australia/Yancowinna Australia/Broken_Hill
Pacific/Chuuk Pacific/Port_Moresby
Pacific/Enderbury Pacific/Kanton
Pacific/Funafuti Pacific/Tarawa
Pacific/Johnston Pacific/Honolulu
Pacific/Majuro Pacific/Tarawa
Pacific/Midway Pacific/Pago_Pago
Pacific/Pohnpei Pacific/Guadalcanal
Pacific/Ponape Pacific/Pohnpei Pacific/Guadalcanal
Pacific/Saipan Pacific/Guam
Pacific/Samoa Pacific/Pago_Pago
Pacific/Truk Pacific/Chuuk Pacific/Port_Moresby
Pacific/Wake Pacific/Tarawa
Pacific/Wallis Pacific/Tarawa
Pacific/Yap Pacific/Chuuk Pacific/Port_Moresby
)";

} // namespace

std::string_view moved_zone_files(std::string_view name) noexcept {
    std::string_view left = moved_zones;
    while (!left.empty()) {
        std::string_view line = left.substr(0, left.find('\n'));
        left.remove_prefix(line.size() + 1);
        if (line.size() > name.size() && line.starts_with(name) && line[name.size()] == ' ') {
            line.remove_prefix(name.size() + 1);
            return line;
        }
    }
    return {};
}
