// Values as a person reads them.
#ifndef EXAMPLES_VALUETEXT_H
#define EXAMPLES_VALUETEXT_H

#include <string>

#include "trel/trelProperty.h"

// "UINT32", as the protocol calls it.
std::string typeText(int type);

// The property's value: 42, true, LC-16, 02:00:5e:10:00:07, 10.20.0.7, 2024-03-01 09:30:00 UTC.
std::string valueText(TrelProperty& property);

// "2024-03-01 09:30:00 UTC"
std::string timeText(long long secondsSince1970);

// "4f544e31 ...": two digits a byte, without blanks.
std::string hexText(const std::string& bytes);

// Padded with blanks to a column. A longer text stays whole.
std::string left(const std::string& text, unsigned int width);
std::string right(const std::string& text, unsigned int width);

#endif
