#!/usr/bin/python3
"""Easter Sundays for tests/algebra/dates_test.cpp, from python3-dateutil (Oudin's algorithm)."""
from dateutil.easter import EASTER_JULIAN, EASTER_WESTERN, easter

YEARS = [325, 1000, 1066, 1492, 1582, 1583, 1609, 1761, 1818, 1886, 1943, 1954, 1981, 2000, 2008, 2024, 2038, 2049, 2285]

for year in YEARS:
    day = easter(year, EASTER_JULIAN if year < 1583 else EASTER_WESTERN)
    print(f"{{{year}, {day.month}, {day.day}}}", end=", ")
print()
