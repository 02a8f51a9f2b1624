// Shapes of the files that have a form of their own: the two lists, the preferences, the answers
// and the holds.
#include <array>
#include <ctime>
#include <iterator>

#include "bench/shapes.h"

namespace shapes {

namespace {

using std::string_literals::operator""s;

const std::string kDisplayName = "<DisplayName>a</DisplayName>";
const std::string kInstallPath = "<InstallPath>/a</InstallPath>";

Shapes Both(Shapes shapes, const std::vector<Repetition>& repetitions, const Frame& frame) {
  Shapes more = ShapesOf(repetitions, frame);
  std::move(more.begin(), more.end(), std::back_inserter(shapes));
  return shapes;
}

// Times as the holds have them.
std::string Time(std::time_t time) {
  std::array<char, 32> text;
  std::tm utc;
  gmtime_r(&time, &utc);
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &utc)};
}

}  // namespace

Shapes ApplicationShapes() {
  // The incomplete entry is dropped, so that a load writes the list already.
  const std::string root = "<KeldaUpdaterRegistrationManager>";
  const std::string open = "<Application appID=\"a@\">";
  const std::string close = "</Application>";
  const std::string ours = "<Application appID=\""s + kAppId + "\">";
  const std::string listed = ours + kDisplayName + kInstallPath + close;
  const Frame inRoot = {root + "<Application/>", listed + "</KeldaUpdaterRegistrationManager>"};
  const Frame inEntry = {inRoot.head + "<Application appID=\"b\">" + kDisplayName + kInstallPath,
                         close + inRoot.tail};
  const Frame inOurs = {root + ours, close + "</KeldaUpdaterRegistrationManager>"};
  const std::string g = "records";
  Shapes shapes = Both(
      XmlShapes(inEntry),
      {
          {g, "applications", {}, open + kDisplayName + kInstallPath + close, {}, kMostNodes / 4},
          {g,
           "applications, as many as may be",
           {},
           open + kInstallPath + close,
           {},
           kMostNodes / 3},
          {g, "a hundred thousand", {}, open + kDisplayName + kInstallPath + close, {}, 100000},
          {g,
           "all of another identifier",
           {},
           "<Application appID=\"a\">" + kInstallPath + close,
           {},
           kMostNodes / 3},
          {g, "all of ours", {}, ours + kInstallPath + close, {}, kMostNodes / 3},
          {g, "all without a folder", {}, open + close, {}, kMostNodes / 2},
          {g, "all without anything", {}, "<Application/>", {}, kMostNodes},
          {g,
           "all with two folders",
           {},
           open + kInstallPath + kInstallPath + close,
           {},
           kMostNodes / 4},
          {g,
           "every other without a folder",
           {},
           "<Application/><Application appID=\"@\">" + kInstallPath + close,
           {},
           kMostNodes / 4},
          {g,
           "all with white space",
           {},
           open + "\r\n\t  \r\n" + kInstallPath + "\r\n        \r\n" + close,
           {},
           kMostNodes / 3},
          {g, "other elements", {}, "<a/>", {}, kMostNodes},
          {g,
           "the last one unwritable",
           {},
           open + kInstallPath + close,
           "<Application appID=\"&amp;\">" + kInstallPath + close,
           kMostNodes / 3 - 2},
          {g, "a long identifier", "<Application appID=\"", "a", "\">" + kInstallPath + close},
          {g, "a long name", "<Application><DisplayName>", "a",
           "</DisplayName>" + kInstallPath + close},
          {g, "a long folder", "<Application><InstallPath>", "a", "</InstallPath>" + close},
      },
      inRoot);
  return Both(
      std::move(shapes),
      {
          {g, "ours with many attributes", "<a", " a@=\"\"", "/>" + kInstallPath, kMostNodes},
          {g, "ours with many elements before the folder", {}, "<a/>", kInstallPath, kMostNodes},
          {g, "ours with many names", kInstallPath, "<DisplayName/>", {}, kMostNodes},
          {g, "ours with many folders", {}, "<InstallPath/>", {}, kMostNodes},
          {g, "ours with a long folder", "<InstallPath>", "a", "</InstallPath>"},
      },
      inOurs);
}

Shapes MissingComponentShapes() {
  const std::string root = "<KeldaUpdaterMissingCompsManager>";
  const std::string rootEnd = "</KeldaUpdaterMissingCompsManager>";
  const std::string record = "<KeldaUpdaterMissingCompsApp";
  const std::string open = record + " AppID=\"a@\">";
  const std::string close = "</KeldaUpdaterMissingCompsApp>";
  const std::string texts = kDisplayName + kInstallPath;
  const std::string ours = record + " AppID=\""s + kAppId + "\">" + texts;
  const std::string component = "<AMissingComponent category=\"Spelling\" ";
  const Frame inRoot = {root + record + "/>", ours + close + rootEnd};
  const Frame inRecord = {inRoot.head + record + " AppID=\"b\">" + texts, close + inRoot.tail};
  const Frame inOurs = {root + record + "/>" + ours, close + rootEnd};
  const std::string g = "records";
  Shapes shapes = Both(
      XmlShapes(inRecord),
      {
          {g, "applications", {}, open + texts + close, {}, kMostNodes / 4},
          {g,
           "all of another identifier",
           {},
           record + " AppID=\"a\">" + texts + close,
           {},
           kMostNodes / 4},
          {g, "all of ours", {}, ours + close, {}, kMostNodes / 4},
          {g, "all without a folder", {}, open + close, {}, kMostNodes / 2},
          {g, "all without anything", {}, record + "/>", {}, kMostNodes},
          {g, "all with two folders", {}, open + texts + kInstallPath + close, {}, kMostNodes / 5},
          {g,
           "the last one unwritable",
           {},
           open + texts + close,
           record + " AppID=\"&lt;\">" + texts + close,
           kMostNodes / 4 - 2},
          {g, "a long identifier", record + " AppID=\"", "a", "\">" + texts + close},
          {g, "other elements", {}, "<a/>", {}, kMostNodes},
      },
      inRoot);
  return Both(
      std::move(shapes),
      {
          {g,
           "components of ours",
           {},
           component + "name=\"@\" version=\"1.2.0.0\"/>",
           {},
           kMostNodes / 4},
          {g,
           "components of ours, any",
           {},
           component + "name=\"*\" version=\"0.@\"/>",
           {},
           kMostNodes / 4},
          {g, "components of ours without a version", {}, component + "/>", {}, kMostNodes / 2},
          {g,
           "components of ours with a bad version",
           {},
           component + "version=\"1.@.x.y\"/>",
           {},
           kMostNodes / 3},
          {g, "components of ours without anything", {}, "<AMissingComponent/>", {}, kMostNodes},
          {g, "a component of ours with many attributes", component, " a@=\"\"", "/>", kMostNodes},
          {g, "a component of ours with a long name", component + "name=\"", "a", "\"/>"},
          {g, "a component of ours with a version of digits", component + "version=\"", "1",
           "\"/>"},
          {g, "a component of ours with a version of dots", component + "version=\"", "1.", "\"/>"},
          {g, "a component of ours with a version of spaces", component + "version=\"", " ",
           "\"/>"},
          {g,
           "components of ours with long versions",
           {},
           component + "version=\"" + std::string(4000, '0') + "\"/>"},
          {g, "ours with other elements", {}, "<a/>", {}, kMostNodes},
          {g, "ours with many names", {}, "<DisplayName/>", {}, kMostNodes},
          {g, "ours with a type of many digits", "<OperationType>", "0", "</OperationType>"},
      },
      inOurs);
}

Shapes PreferenceShapes() {
  // With this one a scheduled check writes three settings.
  const std::string tail = "<IsFirstRun>0</IsFirstRun></KeldaUpdater>";
  const Frame inRoot = {"<KeldaUpdater>", tail};
  const std::string map = "<ApplicationsEnabled>";
  const std::string mapEnd = "</ApplicationsEnabled>";
  const std::string date = "<LastDateCheck>";
  const std::string dateEnd = "</LastDateCheck>";
  const std::string g = "settings";
  return Both(XmlShapes(inRoot),
              {
                  {g, "entries of a map", map, "<MapPrefEntry MapPrefKey=\"a@\">1</MapPrefEntry>",
                   mapEnd, kMostNodes / 2},
                  {g, "entries of a map, all of one key", map,
                   "<MapPrefEntry MapPrefKey=\"a\">1</MapPrefEntry>", mapEnd, kMostNodes / 2},
                  {g, "entries of a map without a key", map, "<MapPrefEntry/>", mapEnd, kMostNodes},
                  {g, "maps", {}, map + mapEnd, {}, kMostNodes},
                  {g, "a setting again and again", {}, "<logLevel/>", {}, kMostNodes},
                  {g, "a flag again and again", {}, "<Launch/>", {}, kMostNodes},
                  {g, "a date of digits", date, "1", dateEnd},
                  {g, "a date of letters", date, "a", dateEnd},
                  {g, "a date of hyphens", date, "-", dateEnd},
                  {g, "a date of days", date, "1-", dateEnd},
                  {g, "a date with more behind it", date + "2008-03-17", "-17", dateEnd},
                  {g, "a date of spaces", date, " ", dateEnd},
                  {g, "a number of zeros", "<AutoCheckFreq>", "0", "1</AutoCheckFreq>"},
                  {g, "a number of spaces", "<AutoCheckFreq>", " ", "1</AutoCheckFreq>"},
                  {g, "a flag of zeros", "<AutoCheck>", "0", "1</AutoCheck>"},
                  {g, "a level of zeros", "<logLevel>", "0", "3</logLevel>"},
                  {g, "a level of digits", "<logLevel>", "9", "</logLevel>"},
                  {g, "a log's name", "<logFileLib>/", "a", "</logFileLib>"},
                  {g, "a log's folders", "<logFileLib>", "/a", "</logFileLib>"},
                  {g, "a log's folders upwards", "<logFileLib>", "/..", "</logFileLib>"},
                  {g, "a log's relative folders", "<logFileLib>", "./", "</logFileLib>"},
                  {g, "folders of downloads", "<DownloadDir>", "/a", "</DownloadDir>"},
                  {g, "a launch", "<Launch>", "a", "</Launch>"},
                  {g, "messages", "<NotificationMessage>",
                   "<MapPrefEntry MapPrefKey=\"@\">bbbbbbbbbbbbbbbb</MapPrefEntry>",
                   "</NotificationMessage>", kMostNodes / 2},
              },
              inRoot);
}

Shapes AnswerShapes() {
  const Frame inRoot = {"<UpdateInfo>", "<Result>1</Result></UpdateInfo>"};
  const std::string open = "<Result>";
  const std::string close = "</Result>";
  const std::string g = "results";
  return Both(XmlShapes(inRoot),
              {
                  {g, "a result of zeros", open, "0", "1" + close},
                  {g, "a result of digits", open, "9", close},
                  {g, "a result of spaces", open, " ", "1" + close},
                  {g, "a result with spaces behind", open + "1", " ", close},
                  {g, "a result of signs", open, "-", close},
                  {g, "a result of letters", open, "a", close},
                  {g, "results", {}, open + close, {}, kMostNodes},
                  {g, "a result with elements", open, "<a/>", close, kMostNodes},
                  {g, "a result with attributes", "<Result", " a@=\"\"", "/>", kMostNodes},
                  {g, "results in a result", open, open + close, close, kMostNodes},
              },
              inRoot);
}

Shapes HoldShapes() {
  const std::time_t now = std::time(nullptr);
  const std::string end = "\t" + Time(now + 3600) + "\r\n";
  const std::string ended = "\t" + Time(now - 3600) + "\r\n";
  const std::string null(1, '\0');
  const std::string longest(279 - end.size(), 'a');  // a line is read up to this
  const std::string ours = kAppId + end;
  const auto dated = [](const std::string& time) { return "a\t" + time + "\r\n"; };
  const std::string g = "lines";
  const std::string h = "holds";
  const std::string t = "times";
  return ShapesOf(
      {
          {g, "one without an end", {}, "a"},
          {g, "one of tabs", {}, "\t"},
          {g, "one of null bytes", {}, null},
          {g, "one of spaces", {}, " "},
          {g, "one of carriage returns", {}, "\r"},
          {g, "one of identifiers and tabs", {}, "a\t"},
          {g, "empty", {}, "\n"},
          {g, "without a tab", {}, "a\n"},
          {g, "without an identifier", {}, "\ta\n"},
          {g, "of 278 bytes without a tab", {}, std::string(277, 'a') + "\n"},
          {g, "of 279 bytes without a tab", {}, std::string(278, 'a') + "\n"},
          {g, "of 280 bytes without a tab", {}, std::string(279, 'a') + "\n"},
          {g, "with a null byte first", {}, null + ours},
          {g, "with a null byte at the end", {}, "a" + end + null},
          {g,
           "with white space up to 279 bytes",
           {},
           "a" + end.substr(0, end.size() - 2) + std::string(255, ' ') + "\r\n"},
          {h, "as short as can be", {}, "a" + end.substr(0, end.size() - 2) + "\n"},
          {h, "of ours", {}, ours},
          {h, "of one identifier", {}, "com.example.viewer" + end},
          {h, "of identifiers of their own", {}, "com.example.viewer@" + end},
          {h, "of identifiers of their own, ours last", {}, "@" + end, ours},
          {h, "of 279 bytes", {}, longest + end},
          {h, "of 280 bytes", {}, longest + "a" + end},
          {h, "of spaces", {}, "    " + end},
          {h, "that are not ASCII", {}, "\xC3\xA9\xFF" + end},
          {h, "with other line ends", {}, "a" + end.substr(0, end.size() - 2) + "\r"},
          {h, "with empty lines between", {}, "a" + end + "\n\n\n\n"},
          {h, "that have ended", {}, "a" + ended},
          {h, "that have ended, ours not", {}, "@" + ended, ours},
          {h, "every other ended", {}, "a" + end + "b" + ended},
          {t, "far away", {}, dated("9999-12-31 23:59:59")},
          {t, "long ago", {}, dated("1400-01-01 00:00:00")},
          {t, "of a year that is not counted", {}, dated("1399-12-31 23:59:59")},
          {t, "of a year that is too long", {}, dated("10000-01-01 00:00:00")},
          {t, "impossible", {}, dated("2008-02-30 00:00:00")},
          {t, "impossible at the end", {}, "a" + end, dated("2008-02-30 00:00:00")},
          {t, "of an impossible hour at the end", {}, "@" + end, dated("2008-02-28 24:00:00")},
          {t, "of digits", "a\t", "9"},
          {t, "of hyphens", "a\t", "-"},
          {t, "empty, behind a million holds", {}, "a" + end, "a\t\r\n"},
      },
      {});
}

}  // namespace shapes
