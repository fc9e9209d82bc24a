#include <cstdlib>
#include <cstring>

#include "tarvex/forms/formconfig.h"
#include "tests/forms/formstest.h"

namespace {

using Param = CFormConfigData::CXMLTemplateParameter;
using Image = CFormConfigData::CXMLTemplateImage;

class FormConfigTest : public ScratchTest {
protected:
    static Image* AddImage(CFormConfigData& form, const char16_t* src) {
        auto* image = new Image;
        image->sourceFileName = src;
        image->name = src;
        form.images.Add(image);
        return image;
    }
};

TEST_F(FormConfigTest, XmlFormRoundTripsWithExternalImages) {
    CFormConfigData form;
    form.caption = u"Насос \"P-1\" <A&B>";
    form.x = -5;
    form.width = 800;
    form.resizeable = true;
    form.autoUpdateControls = false;
    form.visibleTreeView = true;
    auto* param = new Param;
    param->SetParamName(u"DN");
    param->comment = u"Диаметр";
    param->readOnly = true;
    form.parameters.Add(param);
    Image* image = AddImage(form, u"a.jpg");
    image->data = u"AAAA";
    image->autosize = 3;

    // Without embedding the folder is created and images carry no data.
    const std::string path = tmp + "/new/sub/form.xml";
    ASSERT_EQ(form.Save(W(path), false), 1);
    CFormConfigData loaded;
    ASSERT_EQ(loaded.Load(W(path)), 1);
    EXPECT_EQ(loaded.configType, CFormConfigData::eXMLTemplate);
    EXPECT_EQ(loaded.caption, form.caption);
    EXPECT_EQ(loaded.x, -5);
    EXPECT_EQ(loaded.width, 800);
    EXPECT_EQ(loaded.height, 400);
    EXPECT_TRUE(loaded.resizeable);
    EXPECT_TRUE(loaded.visibleTreeView);
    ASSERT_EQ(loaded.parameters.GetLength(), 1);
    EXPECT_EQ(loaded.parameters[0]->GetParamName(), CString(u"DN"));
    EXPECT_EQ(loaded.parameters[0]->comment, CString(u"Диаметр"));
    EXPECT_TRUE(loaded.parameters[0]->readOnly);
    ASSERT_EQ(loaded.images.GetLength(), 1);
    EXPECT_TRUE(loaded.images[0]->data.IsEmpty());
    EXPECT_EQ(loaded.images[0]->autosize, 3);
    EXPECT_EQ(loaded.folder, CString(u"sub"));
    // The XML template's text is not written; an empty one gets the folder.
    EXPECT_EQ(loaded.templateName, W(tmp + "/new/sub/"));
}

TEST_F(FormConfigTest, EmbeddedImagesTravelInTheFileAndEmptyOnesAreDropped) {
    WriteFile(tmp + "/pics/a.jpg", std::string("\xFF\xD8\x00\x01\xFF\xD9", 6));
    CFormConfigData form;
    AddImage(form, u"missing.jpg");
    AddImage(form, u"a.jpg");
    AddImage(form, u"missing2.jpg");
    form.EncodeJpegs(W(tmp + "/pics"));
    // A missing file repeats the data before it, "empty" at the start.
    EXPECT_EQ(form.images[0]->data, CString(u"empty"));
    EXPECT_EQ(form.images[1]->data, CString(u"/9gAAf/Z"));
    EXPECT_EQ(form.images[2]->data, CString(u"/9gAAf/Z"));

    form.images[0]->data.Empty();
    const std::string path = tmp + "/pics/form.xml";
    ASSERT_EQ(form.Save(W(path), true), 1);
    CFormConfigData loaded;
    ASSERT_EQ(loaded.Load(W(path)), 1);
    ASSERT_EQ(loaded.images.GetLength(), 2);
    EXPECT_EQ(loaded.images[0]->sourceFileName, CString(u"a.jpg"));
    EXPECT_EQ(loaded.images[0]->data, CString(u"/9gAAf/Z"));

    // Embedding needs the folder to exist.
    EXPECT_EQ(form.Save(W(tmp + "/absent/form.xml"), true), 0);
}

TEST_F(FormConfigTest, ExtractReplacesTheFoldersJpegsAndStaysInside) {
    const std::string out = tmp + "/out";
    WriteFile(out + "/stray.JPG", "x");
    WriteFile(out + "/keep.png", "x");
    std::filesystem::create_directories(out + "/dir.jpg");
    CFormConfigData form;
    AddImage(form, u"first.jpg")->data = u"empty";
    AddImage(form, u"b.jpg")->data = u"/9gAAf/Z";
    AddImage(form, u"../escape.jpg")->data = u"/9gAAf/Z";
    AddImage(form, u"blank.jpg");
    form.ExtractJpegs(W(out));

    EXPECT_FALSE(std::filesystem::exists(out + "/stray.JPG"));
    EXPECT_TRUE(std::filesystem::exists(out + "/keep.png"));
    EXPECT_TRUE(std::filesystem::is_directory(out + "/dir.jpg"));
    EXPECT_EQ(ReadFile(out + "/first.jpg"), "zjm"); // "empty" read as base64
    EXPECT_EQ(ReadFile(out + "/b.jpg"), std::string("\xFF\xD8\x00\x01\xFF\xD9", 6));
    EXPECT_TRUE(std::filesystem::exists(out + "/blank.jpg"));
    EXPECT_EQ(std::filesystem::file_size(out + "/blank.jpg"), 0u);
    EXPECT_FALSE(std::filesystem::exists(tmp + "/escape.jpg"));

    // With no data at all the folder is left alone.
    WriteFile(out + "/other.jpg", "x");
    CFormConfigData bare;
    AddImage(bare, u"z.jpg");
    bare.ExtractJpegs(W(out));
    EXPECT_TRUE(std::filesystem::exists(out + "/other.jpg"));
}

TEST_F(FormConfigTest, LoadReadsAttributesAndDefaults) {
    const std::string path = tmp + "/x/y/f.xml";
    WriteFile(path, "<?xml version=\"1.0\"?><Form><Window caption=\"C\" showIcon=\"true\" "
                    "height=\"12px\"/><HTMLTemplate autoUpdateControls=\"0\">a.htm"
                    "</HTMLTemplate></Form>");
    CFormConfigData form;
    ASSERT_EQ(form.Load(W(path)), 1);
    // No configType: an HTML form, which Save writes back as such.
    EXPECT_EQ(form.configType, CFormConfigData::eHTMLTemplate);
    EXPECT_EQ(form.templateName, W(tmp + "/x/y/a.htm"));
    EXPECT_EQ(form.folder, CString(u"y"));
    EXPECT_FALSE(form.showIcon); // "true" is not a number
    EXPECT_EQ(form.height, 12);
    EXPECT_EQ(form.width, 600);
    EXPECT_FALSE(form.autoUpdateControls);
    ASSERT_EQ(form.Save(W(tmp + "/again.xml"), false), 1);
    EXPECT_NE(ReadFile(tmp + "/again.xml").find("<HTMLTemplate autoUpdateControls=\"0\">"),
              std::string::npos);

    // A template with a folder of its own stays as it is.
    WriteFile(path, "<?xml version=\"1.0\"?><Form configType=\"1\"><Window/>"
                    "<HTMLTemplate>C:\\t\\a.htm</HTMLTemplate></Form>");
    ASSERT_EQ(form.Load(W(path)), 1);
    EXPECT_EQ(form.templateName, CString(u"C:\\t\\a.htm"));
}

TEST_F(FormConfigTest, ParametersReadTheirVisibleRuleAsOneWhenAbsent) {
    const std::string path = tmp + "/f.xml";
    WriteFile(path, "<?xml version=\"1.0\"?><Form configType=\"0\"><Window/>"
                    "<XMLTemplate visibleImageView=\"1\"><Parameters>"
                    "<Parameter name=\"A\"/><Parameter name=\"B\" visible_rule=\"\"/>"
                    "</Parameters><Images><Image src=\"i.jpg\">QUJD</Image></Images>"
                    "</XMLTemplate></Form>");
    CFormConfigData form;
    ASSERT_EQ(form.Load(W(path)), 1);
    EXPECT_TRUE(form.visibleImageView);
    ASSERT_EQ(form.parameters.GetLength(), 2);
    EXPECT_EQ(form.parameters[0]->visibleRule, CString(u"1"));
    EXPECT_TRUE(form.parameters[1]->visibleRule.IsEmpty());
    EXPECT_TRUE(Param().visibleRule.IsEmpty());
    ASSERT_EQ(form.images.GetLength(), 1);
    EXPECT_EQ(form.images[0]->data, CString(u"QUJD"));
}

TEST_F(FormConfigTest, FailedLoadStillDropsImagesAndParameters) {
    CFormConfigData form;
    form.caption = u"kept";
    AddImage(form, u"a.jpg");
    form.parameters.Add(new Param);
    WriteFile(tmp + "/other.xml", "<?xml version=\"1.0\"?><Other/>");
    EXPECT_EQ(form.Load(W(tmp + "/other.xml")), 0);
    EXPECT_EQ(form.images.GetLength(), 0);
    EXPECT_EQ(form.parameters.GetLength(), 0);
    EXPECT_EQ(form.caption, CString(u"kept"));
    EXPECT_EQ(form.Load(W(tmp + "/none.xml")), 0);
    WriteFile(tmp + "/broken.xml", "<?xml version=\"1.0\"?><Form><Window x=\"1\"");
    EXPECT_EQ(form.Load(W(tmp + "/broken.xml")), 0);
}

TEST(FormConfig, ConfigTypeLooksAtThreeCharactersAfterTheLastDot) {
    EXPECT_EQ(CFormConfigData::GetConfigType(u"page.htm"), CFormConfigData::eHTMLTemplate);
    EXPECT_EQ(CFormConfigData::GetConfigType(u"x.HTML"), CFormConfigData::eHTMLTemplate);
    EXPECT_EQ(CFormConfigData::GetConfigType(u"x.htmx"), CFormConfigData::eHTMLTemplate);
    EXPECT_EQ(CFormConfigData::GetConfigType(u"a.htm.xml"), CFormConfigData::eXMLTemplate);
    EXPECT_EQ(CFormConfigData::GetConfigType(u"x.ht"), CFormConfigData::eXMLTemplate);
    EXPECT_EQ(CFormConfigData::GetConfigType(u"html"), CFormConfigData::eXMLTemplate);
    EXPECT_EQ(CFormConfigData::GetConfigType(u""), CFormConfigData::eXMLTemplate);
    CFormConfigData form;
    form.templateName = u"t.Htm";
    form.UpdateConfigType();
    EXPECT_EQ(form.configType, CFormConfigData::eHTMLTemplate);
}

TEST(FormConfig, TemplateStyleBitsFollowTheWindow) {
    CFormConfigData form;
    form.x = 10;
    form.y = -2;
    form.width = 300;
    form.height = 200;
    EXPECT_EQ(form.GetTemplateStyle(0, false), 0x80u); // no icon shown
    form.showIcon = true;
    form.resizeable = true;
    form.minimizeBox = true;
    form.maximizeBox = true;
    form.position = 1;
    EXPECT_EQ(form.GetTemplateStyle(0x1, false), 0x1u | 0x40000 | 0x800 | 0x20000 | 0x10000);
    form.position = 2;
    EXPECT_EQ(form.GetTemplateStyle(0, false) & 0x1800u, 0x1000u);
    EXPECT_EQ(form.GetTemplateStyle(0x5, true), 0x5u);

    auto* block = static_cast<unsigned char*>(form.CreateTemplate(0x10, true));
    ASSERT_NE(block, nullptr);
    const unsigned char expected[26] = {0x10, 0,    0, 0,   0, 0, 0, 0, 0, 0, 10, 0, 0xFE,
                                        0xFF, 0x2C, 1, 200, 0, 0, 0, 0, 0, 0, 0,  0, 0};
    EXPECT_EQ(std::memcmp(block, expected, sizeof expected), 0);
    std::free(block);
}

TEST(FormConfig, CopiesAreDeepAndDbPropertiesLeaveListsAlone) {
    CFormConfigData form;
    form.caption = u"A";
    form.oldFormName = u"old";
    form.parameters.Add(new Param);
    CFormConfigData copy(form);
    ASSERT_EQ(copy.parameters.GetLength(), 1);
    EXPECT_NE(copy.parameters[0], form.parameters[0]);

    CFormConfigData other;
    other.SetDBPropertiesFrom(form);
    EXPECT_EQ(other.caption, CString(u"A"));
    EXPECT_TRUE(other.oldFormName.IsEmpty());
    EXPECT_EQ(other.parameters.GetLength(), 0);
}

TEST(FormConfig, ParametersAreFoundByKeyNotByPathText) {
    CFormConfigData form;
    auto* plain = new Param;
    plain->SetParamName(u"A");
    form.parameters.Add(plain);
    auto* pathed = new Param;
    pathed->SetParamName(u"B");
    pathed->SetParamPath(u"parent(\"x\")");
    form.parameters.Add(pathed);
    EXPECT_EQ(pathed->GetFullName(), CString(u"parent(\"x\").[B]"));
    const CString key = pathed->GetKeyName();
    EXPECT_EQ(key[0], u'@');
    EXPECT_EQ(form.GetParamIdByName(key), 1);
    EXPECT_EQ(form.GetParamIdByName(u"A"), 0);
    EXPECT_EQ(form.GetParamIdByName(u"a"), -1);
    EXPECT_EQ(form.GetParamIdByName(u"B"), -1);
    // A path that makes no query falls back to the name.
    pathed->SetParamPath(u"(((");
    EXPECT_EQ(pathed->GetKeyName(), CString(u"B"));

    Param named;
    named.SetFullName(u"parent(\"x\").[C]");
    EXPECT_EQ(named.GetParamPath(), CString(u"parent(\"x\")"));
    EXPECT_EQ(named.GetParamName(), CString(u"C"));
    named.SetFullName(u"1 +");
    EXPECT_EQ(named.GetParamPath(), CString(u"parent(\"x\")"));
    EXPECT_EQ(named.GetParamName(), CString(u"1 +"));
}

} // namespace
