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
    EXPECT_EQ(response->parent.lock(), root);
}

TEST(Parser, EveryEncodingThatNamesItself) {
    EXPECT_EQ(treeOf("<a>\xc3\xa9</a>")->elementValue, "é");
    EXPECT_EQ(treeOf("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xe9</a>")->elementValue, "é");
    const QString text = QStringLiteral("\ufeff<a>\u00e9</a>");
    const QByteArray utf16(reinterpret_cast<const char *>(text.utf16()), text.size() * 2);
    EXPECT_EQ(treeOf(utf16)->elementValue, "é");
}

TEST(Parser, BytesThatAreNoTextCostTheirOwnCharacterAlone) {
    for (const char *declaration :
         {"", "\xef\xbb\xbf", "<?xml version='1.0' encoding=\"utf-8\"?>\n"}) {
        const auto root = treeOf(declaration + QByteArray("<a>\xe9t\xc3\xa9<c d='\xff'/></a>"));
        EXPECT_EQ(root->elementValue, "\ufffdté");
        EXPECT_EQ(root->children.size(), 1);
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
    const std::pair<int, int> indexes[] = {{0, 0}, {1, 1}, {2, -1}, {9, -1}, {-5, 0}};
    for (const auto &[from, index] : indexes)
        EXPECT_EQ(root->findIndexName("p", from), index) << from;
}

// Whatever is broken: what came before it stays, and the next text starts afresh.
TEST(Parser, BrokenTextLeavesWhatCameBefore) {
    ASXMLDomParser parser;
    for (const char *xml : {"<a><b>1</b><c>", "<a><b>1</b></wrong>", "<a><b>1</b>&undeclared;</a>",
                            "<a><b>1</b></a><a/>", "<a><b>1</b>\x01</a>"}) {
        EXPECT_TRUE(parser.parse(xml)) << xml;
        EXPECT_TRUE(parser.error) << xml;
        ASSERT_TRUE(parser.rootElement) << xml;
        EXPECT_EQ(parser.rootElement->findFirstName("b")->elementValue, "1") << xml;
    }
    for (const char *xml : {"", "not xml", "<?xml version='1.0' encoding='no such'?><a/>"}) {
        EXPECT_TRUE(parser.parse(xml)) << xml;
        EXPECT_TRUE(parser.error) << xml;
        EXPECT_FALSE(parser.rootElement) << xml;
    }
    parser.parse("<c/>");
    EXPECT_FALSE(parser.error);
    EXPECT_EQ(parser.rootElement->elementName, "c");
}

struct Recorder : ASXMLDomParserDelegate {
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
    parser.parse("<a><b></a>");
    EXPECT_EQ(recorder.events, "+a+b-b1-a.+a+b!");
}

QByteArray entityBomb() {
    QByteArray xml = "<!DOCTYPE a [<!ENTITY e0 \"0123456789\">";
    for (int i = 1; i < 12; ++i) {
        const QByteArray inner = "&e" + QByteArray::number(i - 1) + ";";
        xml += "<!ENTITY e" + QByteArray::number(i) + " \"" + inner.repeated(10) + "\">";
    }
    return xml + "]><a><b/>&e11;</a>";
}

QByteArray nested(int depth) {
    return QByteArray("<a>").repeated(depth) + QByteArray("</a>").repeated(depth);
}

TEST(Parser, HostileTextEndsSoonAndInOrder) {
    constexpr int kMany = 100'000;
    constexpr int kDepth = ASXMLDomParser::kMaxDepth;
    const struct {
        const char *name;
        QByteArray xml;
        bool isRefused;
    } cases[] = {
        {"deepest", nested(kDepth), false},
        {"too deep", nested(kDepth + 1), true},
        {"far too deep", nested(kMany), true},
        {"deep and open", QByteArray("<a>").repeated(kMany), true},
        {"wide", "<a>" + QByteArray("<b/>").repeated(kMany) + "</a>", false},
        {"entity bomb", entityBomb(), true},
        {"endless entity", "<!DOCTYPE a [<!ENTITY e \"&e;\">]><a>&e;</a>", true},
        {"other file", "<!DOCTYPE a [<!ENTITY e SYSTEM \"file:///etc/passwd\">]><a>&e;</a>", false},
        {"long name", "<" + QByteArray(1'000'000, 'n') + "/>", true},
        {"many attributes", "<a " + QByteArray("x:y='1' ").repeated(1000) + "/>", true},
    };
    for (const auto &[name, xml, isRefused] : cases) {
        const auto start = std::chrono::steady_clock::now();
        {
            ASXMLDomParser parser;
            EXPECT_TRUE(parser.parse(xml)) << name;
            EXPECT_EQ(parser.error.has_value(), isRefused) << name;
            if (parser.rootElement) {
                EXPECT_FALSE(parser.rootElement->elementValue.contains("root")) << name;
            }
        }
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << name;
    }
}

}  // namespace
