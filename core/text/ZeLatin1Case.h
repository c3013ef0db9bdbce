// Latin-1 case tables shared by the byte array's case copies and the matching
// of encoding names. To lower case, A-Z and 0xC0-0xDE (0xD7 excepted) move up
// by 0x20; to upper case, a-z and 0xE0-0xFE (0xF7 excepted) move down by 0x20.
// Every other byte, 0xDF and 0xFF included, maps to itself.
#ifndef CORE_TEXT_ZELATIN1CASE_H
#define CORE_TEXT_ZELATIN1CASE_H

// 256 entries each.
extern const unsigned char* const zeLatin1Lowercased;
extern const unsigned char* const zeLatin1Uppercased;

#endif
