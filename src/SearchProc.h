// Umbrella header of libSearchProc.so: a host includes this one file and links -lSearchProc.
#pragma once

// Foundation: settings, files, pack folders, text conversion
#include "foundation/CommonProc.h"
#include "foundation/FileIO.h"
#include "foundation/PackFolderIO.h"
#include "foundation/StringConvProc.h"

// Decompression

// Geodesy
#include "geo/DistanceProc.h"

// POI, area and address search

// Auxiliary data

// Guidance imaging
