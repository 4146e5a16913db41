// XML: the reader of events and the five forms of lists over it. The fuzzer's harness, over its seeds and
// what becomes of them when they are cut and changed, shows that all ways of reading agree.

#include "xp/service/xml.h"

#include "tests/support/leak_check.h"
#include "xp/object/ref.h"
#include "xp/plist/plist.h"
#include "xp/plist/reader.h"
#include "xp/service/data.h"
#include "xp/service/date.h"
#include "xp/string/string.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace std::string_literals;

class xml : public leak_check {};

std::string repeated(std::string_view piece, int times) {
  std::string all;
  for (int i = 0; i < times; ++i)
    all += piece;
  return all;
}

std::string in_16_bits(std::string_view ascii, bool big) {
  std::string wide = big ? "\xFE\xFF"s : "\xFF\xFE"s;
  for (const char byte : ascii) {
    wide += big ? '\0' : byte;
    wide += big ? byte : '\0';
  }
  return wide;
}

// --- The reader ---

struct transcript {
  std::string lines;
  int stop_at = -1;  // the event that stops
};

const char *note(transcript &log, std::string_view line) {
  log.lines += line;
  return log.stop_at-- == 0 ? "enough" : nullptr;
}

constexpr xp_xml_handler recorder = {
    .opens = [](void *log, std::string_view name, const xp_xml_attributes *attributes) -> const char * {
      std::string line = "<" + std::string(name);
      for (int64_t i = 0; i < attributes->count; ++i)
        line += " "s + attributes->pairs[2 * i] + "=" + attributes->pairs[2 * i + 1];
      return note(*static_cast<transcript *>(log), line + ">");
    },
    .closes = [](void *log) -> const char * { return note(*static_cast<transcript *>(log), "</>"); },
    .text = [](void *log, std::string_view piece) -> const char * {
      return note(*static_cast<transcript *>(log), piece);
    }};

// What is told of a text in a block of exactly its size, then the fault, if any.
std::string events(std::string_view text, int stop_at = -1) {
  const std::unique_ptr<char[]> exact(new char[text.size()]);
  text.copy(exact.get(), text.size());
  transcript log{.lines = {}, .stop_at = stop_at};
  xp_xml_fault fault{};
  if (xp_xml_parse(exact.get(), static_cast<int64_t>(text.size()), &recorder, &log, &fault) == 0)
    return log.lines;
  return log.lines + "|" + std::to_string(fault.offset) + " " + fault.reason;
}

TEST_F(xml, tells_what_it_meets) {
  EXPECT_EQ(events("<?xml version='1.0'?><!-- c --><a:b x='1' y:z=\"&lt;&#x41;\n\"><?p "
                   "i?>t&amp;<![CDATA[<&]]>\r\n<c/></a:b>"),
            "<a:b x=1 y:z=<A >t&<&\n<c></></>");
  const std::string umlaut = "<a>\xC3\xA4</>";
  EXPECT_EQ(events("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE4</a>"), umlaut);
  EXPECT_EQ(events("\xEF\xBB\xBF<a>\xC3\xA4</a>"), umlaut);
  EXPECT_EQ(events("<?xml version='1.0' encoding='US-ASCII'?><a>&#228;</a>"), umlaut);
  for (const bool big : {false, true})
    EXPECT_EQ(events(in_16_bits("<a>&#228;</a>", big)), umlaut);
  EXPECT_EQ(events("<!DOCTYPE a SYSTEM 'file:///etc/passwd'><a b='&quot;&#38;'>&gt;</a>"), "<a b=\"&>></>");
  const std::string_view text = "<a><b>t</b></a>";
  for (int stop = 0; stop < 5; ++stop)
    EXPECT_TRUE(events(text, stop).ends_with(" enough")) << stop;
  EXPECT_EQ(events(text, 2), "<a><b>t|6 enough");
}

TEST_F(xml, expands_nothing_and_fetches_nothing) {
  const std::string unknown = " a reference to an entity that XML does not predefine";
  const std::string declares = " a document type with declarations";
  EXPECT_EQ(events("<a>&nbsp;</a>"), "<a>|3 undefined entity");
  EXPECT_EQ(events("<!DOCTYPE a SYSTEM 'b'><a>&nbsp;</a>"), "<a>|26" + unknown);
  EXPECT_EQ(events("<!DOCTYPE a SYSTEM 'b'><a b='&nbsp;'/>"), "|23" + unknown);
  for (const bool big : {false, true}) {
    EXPECT_EQ(events(in_16_bits("<!DOCTYPE a SYSTEM 'b'><a b='&nbsp;'/>", big)), "|48" + unknown);
    EXPECT_EQ(events(in_16_bits("<!DOCTYPE a SYSTEM 'b'><a b='&amp;&#65;'/>", big)), "<a b=&A></>");
  }
  std::string laughs = "<!DOCTYPE a [<!ENTITY l0 'ha'>";
  for (int i = 1; i < 10; ++i)
    laughs +=
        "<!ENTITY l" + std::to_string(i) + " '" + repeated("&l" + std::to_string(i - 1) + ";", 10) + "'>";
  const std::string quadratic = "<!DOCTYPE a [<!ENTITY q '" + std::string(50'000, 'q') + "'>";
  for (const std::string &subset :
       {laughs, quadratic, "<!DOCTYPE a [<!ENTITY e SYSTEM 'file:///etc/passwd'>"s,
        "<!DOCTYPE a [<!ENTITY % p SYSTEM 'http://localhost/p'> %p;"s,
        "<!DOCTYPE a [<!ATTLIST a b CDATA 'c'>"s}) {
    const std::string result = events(subset + "]><a>" + repeated("&l9;&q;&e;", 1000) + "</a>");
    EXPECT_TRUE(result.starts_with("|") && result.ends_with(declares)) << result.substr(0, 100);
  }
}

TEST_F(xml, limits) {
  const auto nested = [](int levels) { return repeated("<a>", levels) + repeated("</a>", levels); };
  EXPECT_EQ(events(nested(XP_XML_DEEPEST)).find('|'), std::string::npos);
  const std::string too_deep = "|" + std::to_string(3 * XP_XML_DEEPEST) + " elements nested too deep";
  EXPECT_TRUE(events(nested(XP_XML_DEEPEST + 1)).ends_with(too_deep));
  EXPECT_TRUE(events(repeated("<a>", 100'000)).ends_with(too_deep)) << "never closed";
  const std::string name(XP_XML_LONGEST_NAME, 'n');
  EXPECT_EQ(events("<" + name + " " + name + "='1'/>"), "<" + name + " " + name + "=1></>");
  EXPECT_EQ(events("<" + name + "n/>"), "|0 an element's name that is too long");
  EXPECT_EQ(events("<a " + name + "n=''/>"), "|0 an attribute's name that is too long");
  std::string attributes;
  for (int i = 0; i < XP_XML_MOST_ATTRIBUTES; ++i)
    attributes += " a" + std::to_string(i) + "=''";
  EXPECT_EQ(events("<a" + attributes + "/>").find('|'), std::string::npos);
  EXPECT_EQ(events("<a" + attributes + " b=''/>"), "|0 too many attributes");
  EXPECT_EQ(events(""), "|0 no element found");
  EXPECT_EQ(xp_xml_parse(nullptr, 0, &recorder, nullptr, nullptr), -1);
}

// --- The forms ---

struct reading {
  xp::ref tree;
  int32_t style = -1;
  xp_plist_fault fault{};
};

reading read(std::string_view text) {
  reading one;
  one.tree = xp::ref::adopt(xp::read_xml(text, one.style, one.fault));
  return one;
}

std::string written(const xp::ref &tree, int32_t style) {
  const xp::ref text = xp::ref::adopt(xp_plist_string(tree.get(), style, 1));
  return {xp_str_getptr(text.get()), static_cast<size_t>(xp_str_length(text.get()))};
}

// The style and the tree as JSON, or the fault.
std::string read_text(std::string_view text) {
  const reading one = read(text);
  if (!one.tree) return std::to_string(one.fault.offset) + " " + one.fault.reason;
  return std::to_string(one.style) + " " + written(one.tree, XP_PLIST_JSON_BARE);
}

struct example {
  std::string text;
  std::string result;
};

void expect_all(const std::vector<example> &examples) {
  for (const example &one : examples)
    EXPECT_EQ(read_text(one.text), one.result) << one.text;
}

TEST_F(xml, property_lists) {
  expect_all({
      {"\n<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//X//DTD PLIST 1.0//EN\" "
       "\"http://x/y.dtd\">\n"
       "<plist version=\"1.0\">\n<dict>\n <key>b</key> <true/>\n <key>a&amp;</key> <array> <false /> "
       "</array>\n"
       " <key>B</key><dict/>\n <key>b</key><string> <![CDATA[<x>]]>&lt;\n</string>\n</dict>\n</plist>\n",
       R"(0 {"B":{},"a&":[false],"b":" <x><\n"})"},
      {"<array><integer> -12 </integer><integer>+0x1f</integer><integer>-0X8000000000000000</integer>"
       "<integer>18446744073709551615</integer><integer>123456789012345678901</integer></array>",
       "0 [-12,31,-9223372036854775808,18446744073709551616.0,123456789012345683968.0]"},
      {"<plist><array><real>5</real><real>+1.5E1</real><real>-inf</real><real>1e-999</real></array></plist>",
       "0 [5.0,15.0,null,0.0]"},
      {"<array><date>2026-11-15T03:10:37Z</date><date> 2026-11-15 </date><data> AQ\n ID "
       "</data><data/></array>",
       R"(0 ["2026-11-15T03:10:37.000Z","2026-11-15T00:00:00.000Z","AQID",""])"},
      {"<string>no list around</string>", R"(0 "no list around")"},
      {"<plist><true/><true/></plist>", "14 a second root"},
      {"<plist><dict><true/></dict></plist>", "13 a value without a key"},
      {"<plist><dict><key>a</key></dict></plist>", "25 a key without a value"},
      {"<dict><key>a</key><key>b</key></dict>", "18 a key without a value"},
      {"<array><key>a</key></array>", "7 a key outside a dictionary"},
      {"<dict><key></key></dict>", "11 an empty key"},
      {"<array><plist/></array>", "7 an element in the wrong place"},
      {"<array><true>x</true></array>", "13 text outside a value"},
      {"<string>a<b/></string>", "9 an element inside a value"},
      {"<plist><set/></plist>", "7 an unknown element"},
      {"<integer></integer>", "9 not an integer"},
      {"<integer>0x10000000000000000</integer>", "28 an integer that is too long"},
      {"<real>--1</real>", "9 not a number"},
      {"<date>today</date>", "11 not a date"},
      {"<date>+400000000-01-01T00:00:00.5Z</date>", "34 a date out of range"},
      {"<data>A</data>", "7 not base64"},
      {"<array>\n<true></array>", "16 mismatched tag"},
      {"<html/>", "0 an unknown element"},
      {"<true/>x", "7 junk after document element"},
      {"<string>\xC3</string>", "8 not well-formed (invalid token)"},
      {"<string>\xEF\xBF\xBF</string>", "8 not well-formed (invalid token)"},
      {"<string>]]></string>", "10 not well-formed (invalid token)"},
      {"<string>a</string>\0<"s, R"(0 "a")"},
  });
  for (const bool big : {false, true}) {
    const std::string wide = in_16_bits("<array><true/></array>", big);
    const xp::ref list =
        xp::ref::adopt(xp_plist_parse(wide.data(), static_cast<int64_t>(wide.size()), XP_PLIST_DETECT));
    EXPECT_EQ(written(list, XP_PLIST_JSON_BARE), "[true]");
  }
  const xp::ref key = read("<dict><key>" + std::string(254, 'k') + "\xC3\xA4</key><true/></dict>").tree;
  EXPECT_EQ(written(key, XP_PLIST_JSON_BARE), "{\"" + std::string(254, 'k') + "\":true}") << "a cut key";
  EXPECT_EQ(xp_type(read("<data/>").tree.get()), xp_data_type());
  EXPECT_EQ(xp_date_ms(read("<date>1970-01-01T00:00:01.25Z</date>").tree.get()), 1250);
}

TEST_F(xml, other_forms) {
  const auto call = [](const std::string &value) {
    return "<methodCall><methodName>m</methodName><params><param><value>" + value +
           "</value></param></params></methodCall>";
  };
  const auto answer = [](const std::string &value) {
    return R"(6 {"methodName":"m","params":[)" + value + "]}";
  };
  expect_all({
      {"<dict> <translation><string>Open</string><string>Auf</string></translation>"
       "<translation><string>Quit</string></translation></dict>",
       R"(0 {"Open":"Auf","Quit":""})"},
      {call("x &amp; y"), answer("\"x & y\"")},
      {call(" <i4>4</i4> "), answer("4")},
      {"<methodCall><methodName>m</methodName></methodCall>", R"(6 {"methodName":"m","params":[]})"},
      {"<methodResponse><fault><value><int>1</int></value></fault></methodResponse>", R"(6 {"fault":1})"},
      {"<methodResponse/>", "17 a response without either params or a fault"},
      {"<methodCall><params/></methodCall>", "21 a call without a method"},
      {call("x<int>1</int>"), "61 text outside a value"},
      {call("<int>1</int><int>1</int>"), "72 more than one value"},
      {call("<array><data/><data/></array>"), "74 more than one value"},
      {call("<struct><value/></struct>"), "68 an element in the wrong place"},
      {call("<struct><member><value/></member></struct>"), "76 a value without a key"},
      {"<s:Envelope xmlns:s='u'> <s:Body> <m:Get><i>1</i><j/><i><k>2</k></i><i/></m:Get> "
       "</s:Body></s:Envelope>",
       R"(6 {"Body":{"Get":{"i":["1",{"k":"2"},""],"j":""}}})"},
      {"<Envelope/>", "0 an unknown element"},
      {"<s:Envelope><a>x<b/></a></s:Envelope>", "16 text outside a value"},
      {"<item><field label='t'>x</field><field label='l' type='long'>0x10</field><field label='r' "
       "type='real'>1</field>"
       "<field ident='y' type='true' /><field rel='u' type='link' href='a:b'>text</field><field label='n' />"
       "<field label='c' type='boolean'>0</field><field label='k'> <list> <field type='text'/><item/></list> "
       "</field>"
       "<list label='d'/></item>",
       R"(7 {"c":false,"d":[],"k":["",{}],"l":16,"n":null,"r":1.0,"t":"x","u":"a:b","y":true})"},
      {"<field type='data'>AQID</field>", "7 \"AQID\""},
      {"<item><list label='a' ident='b' rel='c'/><item ident='d' rel='e'/></item>", R"(7 {"a":[],"d":{}})"},
      {"<item><field>x</field></item>", "6 a value without a key"},
      {"<list><field type='int'>1</field></list>", "6 an unknown type"},
      {"<field type='boolean'>2</field>", "23 not a boolean"},
      {"<list><field>x<list/></field></list>", "14 text outside a value"},
      {"<list><field><list/><list/></field></list>", "20 more than one value"},
  });
}

TEST_F(xml, nesting_ends_at_512_containers) {
  const struct {
    std::string before, open, inside, close, after;
    int outside;  // containers around
  } forms[] = {
      {"<plist>", "<array>", "", "</array>", "</plist>", 0},
      {"<!-- -->", "<dict><key>k</key>", "<true/>", "</dict>", "", 0},
      {"", "<item><field label='k'>", "", "</field></item>", "", 0},
      {"<methodCall><methodName>m</methodName><params><param><value>",
       "<struct><member><name>n</name><value>", "", "</value></member></struct>",
       "</value></param></params></methodCall>", 2},
      {"<s:Envelope>", "<a>", "", "</a>", "</s:Envelope>", 0},
      {"<s:Envelope>", "<a/><a>", "<a/><a/>", "</a>", "</s:Envelope>",
       1},  // the most levels of all: arrays between
  };
  for (const auto &form : forms) {
    const auto text = [&form](int depth) {
      return form.before + repeated(form.open, depth) + form.inside + repeated(form.close, depth) +
             form.after;
    };
    const int levels = xp::deepest_list - form.outside;
    const reading deepest = read(text(levels));
    EXPECT_TRUE(deepest.tree) << form.open;
    EXPECT_FALSE(written(deepest.tree, XP_PLIST_XML).empty()) << "can be written";
    EXPECT_TRUE(read_text(text(levels + 1)).ends_with(" containers nested too deep")) << form.open;
    EXPECT_FALSE(read(text(100'000)).tree) << form.open;
  }
}

}  // namespace
