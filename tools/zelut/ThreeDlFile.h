/*
 * .3dl tables: the integer 3D format with a mesh line, read into a LutTable.
 *
 *   LutTable lut;
 *   if (!parse3dl(text, "look.3dl", lut, error)) ...   // "look.3dl:LINE: reason"
 *
 * Layout: optional '#' comments and keywords (3DMESH, "Mesh I O" giving the
 * input and output bit depths, GAMMA and LUT8, which change nothing here),
 * then the mesh line: N integer input values, 2 <= N <= 65, strictly
 * increasing, on the input scale (0..1023 for 10 bits). N^3 lines of three
 * integer outputs follow with the blue index fastest, as in a LUT file.
 *
 * Bit depths: the input scale is the smallest 2^d - 1 (d = 8 to 16) that
 * holds the mesh's last value. The output depth is the Mesh line's, else the
 * smallest of 10, 12, 14 and 16 bits (8 for an 8-bit mesh) that holds both
 * the largest output and the input scale: colour tools write 10-bit meshes
 * with 10- to 16-bit outputs.
 */
#ifndef ZELUT_THREEDLFILE_H
#define ZELUT_THREEDLFILE_H

#include <string>
#include <string_view>

#include "LutFile.h"

bool parse3dl(std::string_view text, const std::string& name, LutTable& lut, std::string& error);

#endif
