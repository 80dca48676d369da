// Umbrella header of libSearchProc.so: a host includes this one file and links -lSearchProc.
#pragma once

// Foundation: settings, files, pack folders, text conversion
#include "foundation/CommonProc.h"
#include "foundation/FileIO.h"
#include "foundation/PackFolderIO.h"
#include "foundation/StringConvProc.h"

// Decompression
#include "codec/LzmaProc.h"
#include "codec/MarlinDataProc.h"

// Geodesy
#include "geo/DistanceProc.h"

// POI, area and address search
#include "search/ArrayData.h"
#include "search/ConvAddressProc.h"
#include "search/IconID.h"
#include "search/LocationData.h"
#include "search/SAPAInfo.h"
#include "search/SearchAddressProc.h"
#include "search/SearchAlliedParkingProc.h"
#include "search/SearchArrivalProc.h"
#include "search/SearchBaseDataProc.h"
#include "search/SearchGenreProc.h"
#include "search/SearchHomePhoneProc.h"
#include "search/SearchKanaProc.h"
#include "search/SearchKanaProcMA.h"
#include "search/SearchPhoneProc.h"
#include "search/SearchTelephoneProc.h"
#include "search/SearchVicinityPrefDataProc.h"
#include "search/SearchZipcodeProc.h"
#include "search/VicinityProc.h"

// Auxiliary data
#include "auxdata/SearchAddFunctionProc.h"
#include "auxdata/SearchIntroProc.h"
#include "auxdata/SearchRoadNameProc.h"
#include "auxdata/SearchRoadNumberProc.h"
#include "auxdata/SearchStringProc.h"
#include "auxdata/VersionProc.h"

// Guidance imaging
#include "imaging/AUIFontDataCtrl.h"
#include "imaging/ImageConvProc.h"
#include "imaging/ImageData.h"
#include "imaging/ImageFileIO.h"
#include "imaging/ImageGuidance.h"
#include "imaging/ImageProc.h"
#include "imaging/ParseStringsProc.h"
#include "imaging/SearchImageProc.h"
#include "imaging/SearchSignData.h"
#include "imaging/StrBlit.h"
