# SPDX-License-Identifier: GPL-2.0-or-later
"""The locations that the help of the time-zone commands lists, word for word."""
from __future__ import annotations

LOCATION_HELP = {
    "Africa":
        "List of selectable African locations:Abidjan, Accra, Addis_Ababa, Algiers, Asmara, Asmera,Bamako, "
        "Bangui, Banjul, Bissau, Blantyre, Brazzaville, Bujumbura,Cairo, Casablanca, Ceuta, Conakry,Dakar, "
        "Dar_es_Salaam, Djibouti, Douala,Egypt, El_Aaiun, Freetown,Gaborone, Harare, Johannesburg, Juba,"
        "Kampala, Khartoum, Kigali, Kinshasa, Lagos, Libreville, Libya, Lome, Luanda, Lubumbashi, Lusaka, "
        "Malabo, Maputo, Maseru, Mbabane, Mogadishu, Monrovia, Nairobi, Ndjamena, Niamey, Nouakchott, "
        "Ouagadougou, Porto-Novo, Sao_Tome, Timbuktu, Tripoli, Tunis, Windhoek, Zulu",
    "America":
        "List of selectable American locations: Acre,Adak,Alaska,Aleutian,Anchorage,Anguilla,Antigua,"
        "Araguaina,Arizona,Aruba,Asuncion,Atikokan,Atka,Bahia,Bahia_Banderas,BajaNorte,BajaSur,Barbados,"
        "Belem,Belize,Beulah,Blanc-Sablon,Boa_Vista,Bogota,Boise,Buenos_Aires,Cambridge_Bay,Campo_Grande,"
        "Cancun,Caracas,Catamarca,Cayenne,Cayman,Center,Chicago,Chihuahua,ComodRivadavia,Coral_Harbour,"
        "Cordoba,Costa_Rica,Creston,Cuba,Cuiaba,Curacao,Danmarkshavn,Dawson,Dawson_Creek,DeNoronha,Denver,"
        "Detroit,Dominica,Edmonton,Eirunepe,El_Salvador,Ensenada,Fort_Nelson,Fort_Wayne,Fortaleza,Glace_Bay,"
        "Godthab,Goose_Bay,Grand_Turk,Grenada,Guadeloupe,Guatemala,Guayaquil,Guyana,Halifax,Havana,Hawaii,"
        "Hermosillo,Indianapolis,Inuvik,Iqaluit,Jamaica,Jujuy,Juneau,Knox,Knox_IN,Kralendijk,La_Paz,La_Rioja,"
        "Lima,Los_Angeles,Louisville,Lower_Princes,Maceio,Managua,Manaus,Marengo,Marigot,Martinique,"
        "Matamoros,Mazatlan,Mendoza,Menominee,Merida,Metlakatla,Mexico_City,Michigan,Miquelon,Moncton,"
        "Monterrey,Montevideo,Monticello,Montreal,Montserrat,Nassau,Navajo,Newfoundland,New_Salem,New_York,"
        "Nipigon,Nome,Noronha,Nuuk,Ojinaga,Panama,Pangnirtung,Paramaribo,Petersburg,Phoenix,Port_of_Spain,"
        "Port-au-Prince,Porto_Acre,Porto_Velho,Puerto_Rico,Punta_Arenas,Rainy_River,Rankin_Inlet,Recife,"
        "Regina,Rio_Branco,Rio_Gallegos,Rosario,Salta,San_Juan,San_Luis,Santa_Isabel,Santarem,Santiago,"
        "Santo_Domingo,Sao_Paulo,Scoresbysund,Shiprock,Sitka,St_Barthelemy,St_Johns,St_Kitts,St_Lucia,"
        "St_Thomas,St_Vincent,Swift_Current,Tegucigalpa,Tell_City,Thule,Thunder_Bay,Tijuana,Toronto,Tortola,"
        "Tucuman,Ushuaia,Vancouver,Vevay,Vincennes,Virgin,Whitehorse,Winamac,Winnipeg,Yakutat,Yellowknife",
    "Indian_Ocean":
        "List of selectable American locations: Antananarivo, Chagos, Christmas, Cocos, Comoro, Kerguelen, "
        "Mahe, Maldives, Mauritius, Mayotte, Reunion ",
    "Asia":
        "List of selectable Asian locations:Aden,Almaty,Amman,Anadyr,Aqtau,Aqtobe,Ashgabat,Ashkhabad,Atyrau,"
        "Baghdad,Bahrain,Baku,Bangkok,Barnaul,Beirut,Bishkek,Brunei,Calcutta,Chita,Choibalsan,Chongqing,"
        "Chungking,Colombo,Dacca,Damascus,Dhaka,Dili,Dubai,Dushanbe,Famagusta,Gaza,Harbin,Hebron,Ho_Chi_Minh,"
        "Hong_Kong,Hovd,Iran,Irkutsk,Israel,Istanbul,Jakarta,Japan,Jayapura,Jerusalem,Kabul,Kamchatka,"
        "Karachi,Kashgar,Kathmandu,Katmandu,Khandyga,Kolkata,Krasnoyarsk,Kuala_Lumpur,Kuching,Kuwait,Macao,"
        "Macau,Magadan,Makassar,Manila,Muscat,Nicosia,Novokuznetsk,Novosibirsk,Omsk,Oral,Phnom_Penh,"
        "Pontianak,Pyongyang,Qatar,Qostanay,Qyzylorda,Rangoon,Riyadh,Saigon,Sakhalin,Samarkand,Seoul,"
        "Shanghai,Singapore,Srednekolymsk,Taipei,Tashkent,Tbilisi,Tehran,Tel_Aviv,Thimbu,Thimphu,Tokyo,Tomsk,"
        "Turkey,Ujung_Pandang,Ulaanbaatar,Ulan_Bator,Urumqi,Ust-Nera,Vientiane,Vladivostok,Yakutsk,Yangon,"
        "Yekaterinburg,Yerevan",
    "Atlantic":
        "List of selectable Atlantic locations:Bermuda,Canary,Cape_Verde,Faeroe,Faroe,Jan_Mayen,Madeira,"
        "Reykjavik,South_Georgia,Stanley,St_Helena",
    "Europe":
        "List of selectable European locations: Amsterdam,Andorra,Astrakhan,Athens,Belfast,Belgrade,Berlin,"
        "Bratislava,Brussels,Bucharest,Budapest,Busingen,Chisinau,Copenhagen,Dublin,Eire,Gibraltar,Greenwich,"
        "Guernsey,Helsinki,Iceland,Isle_of_Man,Jersey,Kaliningrad,Kiev,Kirov,Lisbon,Ljubljana,London,"
        "Luxembourg,Madrid,Malta,Mariehamn,Minsk,Monaco,Moscow,Oslo,Paris,Podgorica,Poland,Portugal,Prague,"
        "Riga,Rome,Samara,San_Marino,Sarajevo,Saratov,Simferopol,Skopje,Sofia,Stockholm,Tallinn,Tirane,"
        "Tiraspol,Ulyanovsk,Uzhgorod,Vaduz,Vatican,Vienna,Vilnius,Volgograd,Warsaw,Zagreb,Zaporozhye,Zurich",
    "Australia":
        "List of selectable Australia locations: Adelaide,Brisbane,Broken_Hill,Canberra,Currie,Darwin,Eucla,"
        "Hobart,Lindeman,Lord_Howe,Melbourne,NSW,Perth,Queensland,Sydney,Tasmania,Victoria,Yancowinna",
    "Pacific":
        "List of selectable Pacific locations: Apia,Auckland,Bougainville,Chatham,Chuuk,Easter,Efate,"
        "Enderbury,Fakaofo,Fiji,Funafuti,Galapagos,Gambier,Guadalcanal,Guam,Honolulu,Johnston,Kiritimati,"
        "Kosrae,Kwajalein,Majuro,Marquesas,Midway,Nauru,Niue,Norfolk,Noumea,Pago_Pago,Palau,Pitcairn,Pohnpei,"
        "Ponape,Port_Moresby,Rarotonga,Saipan,Samoa,Tahiti,Tarawa,Tongatapu,Truk,Wake,Wallis,Yap",
}
