// Umbrella header of libSearchProc.so: a host includes this one file and links -lSearchProc.
#pragma once

// Foundation: settings, files, pack folders, text conversion

// Decompression

// Geodesy

// POI, area and address search

// Auxiliary data

// Guidance imaging
