#include "platform/local_date.h"

#include "support/test_folder.h"

namespace {

TEST(LocalDate, IsTheOneThatLocaltimeTells) {
  using std::chrono::year;
  for (const char* zone :
       {"", ":Europe/Berlin", "America/New_York", "Africa/Casablanca", "Europe/Dublin",
        "Pacific/Apia", "/usr/share/zoneinfo/Australia/Lord_Howe", "/etc/localtime", "No/Where",
        "ABC", "<+14>-14", "AAA+3:30:15BBB,M3.2.0/-1,M11.1.0/26", "NZST-12NZDT,M9.5.0,M4.1.0/3",
        "AAA-13BBB-12:30,J60/-20,J300/0", "CCC-1DDD,0/0,364/25"}) {
    setenv("TZ", zone, 1);
    tzset();
    for (std::time_t time = 0; time < 4000000000; time += 86400 * 9 + 3607) {
      const std::tm local = *localtime(&time);
      EXPECT_EQ(kxl::LocalDate(time),
                year(local.tm_year + 1900) / (local.tm_mon + 1) / local.tm_mday)
          << zone << " " << time;
    }
  }
  setenv("TZ", "UTC", 1);
  tzset();
}

}  // namespace
