#include "dng/parse/date_time.h"

#include <cstring>

bool VorelDngDateTime::isValid() const {
    return year >= 1 && year <= 9999 && month >= 1 && month <= 12 && day >= 1 && day <= 31 && hour <= 23 &&
           minute <= 59 && second <= 59;
}

bool VorelDngDateTime::parse(const char *text) {
    *this = {};
    // Where each number of "YYYY:MM:DD HH:MM:SS" stands.
    struct Field {
        uint32_t VorelDngDateTime::*number;
        uint32_t first, digits;
    };
    static constexpr Field kFields[] = {{&VorelDngDateTime::year, 0, 4},    {&VorelDngDateTime::month, 5, 2},
                                        {&VorelDngDateTime::day, 8, 2},     {&VorelDngDateTime::hour, 11, 2},
                                        {&VorelDngDateTime::minute, 14, 2}, {&VorelDngDateTime::second, 17, 2}};
    if (std::strlen(text) < 19) return false;
    VorelDngDateTime read;
    for (const Field &field : kFields) {
        for (uint32_t i = 0; i < field.digits; ++i) {
            const char digit = text[field.first + i];
            if (digit < '0' || digit > '9') return false;
            read.*field.number = read.*field.number * 10 + static_cast<uint32_t>(digit - '0');
        }
    }
    if (!read.isValid()) return false;
    *this = read;
    return true;
}
