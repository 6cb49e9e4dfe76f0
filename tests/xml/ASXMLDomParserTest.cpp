#include <chrono>

#include "xml/ASXMLDomParser.h"

namespace {

ASXMLDomNodePtr treeOf(const QByteArray &xml) {
    ASXMLDomParser parser;
    EXPECT_TRUE(parser.parse(xml));
    EXPECT_FALSE(parser.error) << parser.error->userInfo.value("OUTPUT").toString().toStdString();
    return parser.rootElement;
}

TEST(Parser, KeepsLocalNamesTextAndOrder) {
    const auto root = treeOf(
        "<?xml version=\"1.0\"?>\n"
        "<D:MultiStatus xmlns:D=\"DAV:\"><unknown:Response a=\"1\"> one<b/> two"
        "<![CDATA[<3>]]>&amp;</unknown:Response><response/></D:MultiStatus>");
    EXPECT_EQ(root->elementName, "multistatus");
    EXPECT_TRUE(root->elementValue.isNull());
    ASSERT_EQ(root->children.size(), 2);
    const auto response = root->children[0];
    EXPECT_EQ(response->elementName, "response");
    EXPECT_EQ(response->elementValue, " one two<3>&");
    EXPECT_EQ(response->depth(), 1);
    EXPECT_EQ(response->findFirstName("b")->depth(), 2);
    EXPECT_EQ(response->parent.lock(), root);
    EXPECT_TRUE(root->children[1]->elementValue.isNull());
}

TEST(Parser, EveryEncodingThatNamesItself) {
    EXPECT_EQ(treeOf("<a>\xc3\xa9</a>")->elementValue, "é");
    EXPECT_EQ(treeOf("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xe9</a>")->elementValue, "é");
    const QString text = QStringLiteral("\ufeff<a>\u00e9</a>");
    const QByteArray utf16(reinterpret_cast<const char *>(text.utf16()), text.size() * 2);
    EXPECT_EQ(treeOf(utf16)->elementValue, "é");
}

TEST(Parser, BytesThatAreNoTextCostTheirOwnCharacterAlone) {
    for (const QByteArray &declaration :
         {QByteArray(), QByteArray("\xef\xbb\xbf"), QByteArray("<?xml version='1.0'?>"),
          QByteArray("<?xml version='1.0' encoding=\"utf-8\"?>\n")}) {
        const auto root = treeOf(declaration + "<a><b>\xe9t\xc3\xa9</b><c d='\xff'>2</c></a>");
        ASSERT_EQ(root->children.size(), 2);
        EXPECT_EQ(root->children[0]->elementValue, "\ufffdté");
        EXPECT_EQ(root->children[1]->elementValue, "2");
    }
}

TEST(Parser, OfManyPrefixesNoneIsKept) {
    const auto root = treeOf(
        "<?x a:b:c?><!--<a:b:c>--><a:b:R xmlns:a:b='u' x='a:b:c'><c:d:e:f/>"
        "<d:g>\"a:b:c'</d:g ><![CDATA[<a:b:c d:e:f=\"]]><h:i:j >'k:l:m</h:i:j>n:o:p</a:b:R>");
    EXPECT_EQ(root->elementName, "r");
    EXPECT_EQ(root->elementValue, "<a:b:c d:e:f=\"n:o:p");
    ASSERT_EQ(root->children.size(), 3);
    EXPECT_EQ(root->children[0]->elementName, "f");
    EXPECT_EQ(root->findFirstName("g")->elementValue, "\"a:b:c'");
    EXPECT_EQ(root->findFirstName("j")->elementValue, "'k:l:m");
}

TEST(Node, Lookups) {
    const auto root = treeOf("<r><p><x>1</x></p><p><y><z>2</z></y></p><q/></r>");
    EXPECT_EQ(root->findName("p").size(), 2);
    EXPECT_TRUE(root->findName("x").isEmpty());
    EXPECT_EQ(root->findFirstName("P"), nullptr);
    EXPECT_EQ(root->findFirstXName("p/x")->elementValue, "1");
    EXPECT_EQ(root->findFirstXName("p/y/z"), nullptr) << "only the first match is followed";
    EXPECT_EQ(root->findFirstXName(""), root);
    EXPECT_EQ(root->findIndexName("p", 0), 0);
    EXPECT_EQ(root->findIndexName("p", 1), 1);
    EXPECT_EQ(root->findIndexName("p", 2), -1);
    EXPECT_EQ(root->findIndexName("p", 9), -1);
    EXPECT_EQ(root->findIndexName("p", -5), 0);
    EXPECT_EQ(root->findFirstName("q")->findIndexName("p", 0), -1);
}

TEST(Node, DumpShowsTheTree) {
    const auto root = treeOf("<a>1<b>2</b></a>");
    testing::internal::CaptureStderr();
    root->debugDump();
    const std::string lines = testing::internal::GetCapturedStderr();
    EXPECT_THAT(lines, testing::HasSubstr("a: 1\n"));
    EXPECT_THAT(lines, testing::HasSubstr("  b: 2\n"));
}

TEST(Parser, BrokenTextLeavesWhatCameBefore) {
    struct Case {
        const char *xml;
        bool hasRoot;
    };
    for (const Case &c : {Case{"", false},
                          {"not xml", false},
                          {"<a><b>1</b><c>", true},
                          {"<a><b>1</b></wrong>", true},
                          {"<a><b>1</b>&undeclared;</a>", true},
                          {"<a><b>1</b></a><a/>", true},
                          {"<a><b>1</b>\x01</a>", true},
                          {"<?xml version='1.0' encoding='no such'?><a/>", false}}) {
        ASXMLDomParser parser;
        EXPECT_TRUE(parser.parse(c.xml)) << c.xml;
        EXPECT_TRUE(parser.error) << c.xml;
        ASSERT_EQ(parser.rootElement != nullptr, c.hasRoot) << c.xml;
        if (!c.hasRoot)
            continue;
        EXPECT_EQ(parser.rootElement->findFirstName("b")->elementValue, "1") << c.xml;
    }
}

TEST(Parser, StartsAfreshAfterAFailure) {
    ASXMLDomParser parser;
    parser.parse("<a><b>");
    ASSERT_TRUE(parser.error);
    parser.parse("<c/>");
    EXPECT_FALSE(parser.error);
    EXPECT_EQ(parser.rootElement->elementName, "c");
    EXPECT_TRUE(parser.rootElement->children.isEmpty());
    parser.parse("");
    EXPECT_EQ(parser.rootElement, nullptr);
}

class Recorder : public ASXMLDomParserDelegate {
  public:
    void didStartNode(ASXMLDomParser &, const ASXMLDomNodePtr &node) override {
        events += "+" + node->elementName;
    }
    void didEndNode(ASXMLDomParser &, const ASXMLDomNodePtr &node) override {
        events += "-" + node->elementName + node->elementValue;
    }
    void parserDidFinishDocument(ASXMLDomParser &) override { events += "."; }
    void parserError(ASXMLDomParser &parser) override { events += parser.error ? "!" : "?"; }

    QString events;
};

TEST(Parser, TellsItsDelegate) {
    Recorder recorder;
    ASXMLDomParser parser;
    parser.delegate = &recorder;
    parser.parse("<a><b>1</b></a>");
    EXPECT_EQ(recorder.events, "+a+b-b1-a.");
    recorder.events.clear();
    parser.parse("<a><b></a>");
    EXPECT_EQ(recorder.events, "+a+b!");
}

QByteArray entityBomb() {
    QByteArray xml = "<!DOCTYPE a [<!ENTITY e0 \"0123456789\">";
    for (int i = 1; i < 12; ++i) {
        const QByteArray inner = "&e" + QByteArray::number(i - 1) + ";";
        xml += "<!ENTITY e" + QByteArray::number(i) + " \"" + inner.repeated(10) + "\">";
    }
    return xml + "]><a><b/>&e11;</a>";
}

TEST(Parser, HostileTextEndsSoonAndInOrder) {
    constexpr int kMillion = 1'000'000;
    struct Case {
        const char *name;
        QByteArray xml;
        bool isRefused;
    };
    const Case cases[] = {
        {"deep", QByteArray("<a>").repeated(kMillion), true},
        {"deep and closed",
         QByteArray("<a>").repeated(kMillion) + QByteArray("</a>").repeated(kMillion), true},
        {"wide", "<a>" + QByteArray("<b/>").repeated(kMillion) + "</a>", false},
        {"entity bomb", entityBomb(), true},
        {"endless entity", "<!DOCTYPE a [<!ENTITY e \"&e;\">]><a>&e;</a>", true},
        {"external entity", "<!DOCTYPE a [<!ENTITY e SYSTEM \"file:///etc/passwd\">]><a>&e;</a>",
         false},
        {"long name", "<" + QByteArray(kMillion, 'n') + "/>", true},
        {"many attributes", "<a " + QByteArray("x:y='1' ").repeated(1000) + "/>", true},
    };
    for (const Case &c : cases) {
        const auto start = std::chrono::steady_clock::now();
        {
            ASXMLDomParser parser;
            EXPECT_TRUE(parser.parse(c.xml)) << c.name;
            EXPECT_EQ(parser.error.has_value(), c.isRefused) << c.name;
            if (parser.rootElement) {
                EXPECT_FALSE(parser.rootElement->elementValue.contains("root")) << c.name;
            }
        }
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10)) << c.name;
    }
}

TEST(Parser, DepthUpToTheLimit) {
    constexpr int kDepth = ASXMLDomParser::kMaxDepth;
    const auto nested = [](int depth) {
        return QByteArray("<a>").repeated(depth) + QByteArray("</a>").repeated(depth);
    };
    ASXMLDomParser parser;
    parser.parse(nested(kDepth));
    EXPECT_FALSE(parser.error);
    parser.parse(nested(kDepth + 1));
    EXPECT_TRUE(parser.error);
    EXPECT_NE(parser.rootElement, nullptr);
}

}  // namespace
