// The configuration file of a form: window attributes, and either an HTML
// page or the parameters and images of an XML template that the host lays
// out itself. Images may travel inside the file as base64 text.
//
//   <Form configType="0">
//     <Window oldFormName caption captionSource x y width height position
//             scrollbars resizeable showIcon minimizeBox maximizeBox icon />
//     <XMLTemplate visibleTreeView visibleImageView>
//       <Parameters><Parameter name path comment ... /></Parameters>
//       <Images><Image src name show_rule align autosize>base64</Image></Images>
//     </XMLTemplate>
//   </Form>
#pragma once
#include <cstdint>

#include "tarvex/core/indirectarray.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/streams/xml/xmlschema.h"

class CXMLOutStream;

class CConfigXMLSchema : public CXMLSchema {
public:
    enum : int { eWindow = 1, eHTMLTemplate = 2, eXMLTemplate = 3 }; // members of Form
    enum : int { eParameters = 1, eImages = 2 };                     // of XMLTemplate
    CConfigXMLSchema();
};

class CFormConfigData : public CXMLStreamableObject {
public:
    enum EConfigType : std::int32_t { eXMLTemplate = 0, eHTMLTemplate = 1 };

    class CXMLTemplateParameter : public CTarvexObject {
    public:
        CXMLTemplateParameter() = default;
        CXMLTemplateParameter(const CXMLTemplateParameter&) = default;
        CXMLTemplateParameter& operator=(const CXMLTemplateParameter&) = default;
        CXMLTemplateParameter(CXMLTemplateParameter&&) = default;
        CXMLTemplateParameter& operator=(CXMLTemplateParameter&&) = default;
        ~CXMLTemplateParameter() override = default;

        void SetParamName(const char16_t* text) {
            paramName = text;
            keyName.Empty();
        }
        void SetParamPath(const char16_t* text) {
            paramPath = text;
            keyName.Empty();
        }
        const CString& GetParamName() const { return paramName; }
        const CString& GetParamPath() const { return paramPath; }
        // The name a parameter is found by: the parameter name, or for a
        // path the name of the structural query that path and name make.
        const CString& GetKeyName();
        // The name, or "<path>.[<name>]".
        CString GetFullName() const;
        void SetFullName(const char16_t* text);

        bool readOnly = false;
        CString validRule;
        CString comment;
        CString category;
        CString valueComment;
        CString visibleRule;
        CString image;

    protected:
        void UpdateFullName();
        static bool GetKeyNameByFullName(const char16_t* fullName, CString& key);

    private:
        CString keyName;
        CString paramName;
        CString paramPath;
    };

    class CXMLTemplateImage : public CTarvexObject {
    public:
        CXMLTemplateImage() = default;
        CXMLTemplateImage(const CXMLTemplateImage&) = default;
        CXMLTemplateImage& operator=(const CXMLTemplateImage&) = default;
        CXMLTemplateImage(CXMLTemplateImage&&) = default;
        CXMLTemplateImage& operator=(CXMLTemplateImage&&) = default;
        ~CXMLTemplateImage() override = default;

        CString sourceFileName;
        CString name;
        CString showRule;
        CString align;
        CString data; // the picture's bytes in base64
        std::int32_t autosize = 0;
    };

    CFormConfigData();
    CFormConfigData(const CFormConfigData& other);
    CFormConfigData& operator=(const CFormConfigData& other);
    CFormConfigData(CFormConfigData&& other) noexcept;
    CFormConfigData& operator=(CFormConfigData&& other) noexcept;
    ~CFormConfigData() override = default;

    // 1 or 0. The images and parameters are dropped first, also when the
    // load then fails.
    int Load(const char16_t* path);
    // 1 or 0. With `embed`, images without data are left out and the folder
    // must exist; without it the folder is created.
    int Save(const char16_t* path, bool embed);

    // Reads each image's file from `folder` into its data. A missing file
    // repeats the previous image's data ("empty" before the first).
    void EncodeJpegs(const char16_t* folder);
    // Replaces the JPEG files of `folder` by the images' data; nothing at all
    // when no image has data. Images whose file name is not a plain name are
    // skipped, so nothing is written outside the folder.
    void ExtractJpegs(const char16_t* folder);
    // Deletes the "*.jpg" files directly in `folder`.
    static void DeleteJpegs(const char16_t* folder);

    // By key name, case-sensitively; -1 when absent.
    int64_t GetParamIdByName(const char16_t* keyName);
    // 1 for a name whose last extension starts with "htm" in any case.
    static EConfigType GetConfigType(const char16_t* templateName);
    void UpdateConfigType() { configType = GetConfigType(templateName); }
    // The window and template settings, without parameters, images, old
    // form name or folder.
    void SetDBPropertiesFrom(const CFormConfigData& other);

    // A dialog template of 26 bytes (free with std::free): style at 0, then
    // zeros but x, y, width and height as 16-bit values at 10 to 17. With
    // `keepStyle` false the window settings add to `style`. Null when out of
    // memory.
    void* CreateTemplate(std::uint32_t style, bool keepStyle) const;
    std::uint32_t GetTemplateStyle(std::uint32_t style, bool keepStyle) const;

    int OnXMLTag(CXMLSchemaInStream& stream, int id, const char16_t* name, const char16_t* value,
                 CXMLAttrs& attrs) override;
    static int OnLoadParameters(void* context, CXMLSchemaInStream& stream, int id,
                                const char16_t* name, const char16_t* value, CXMLAttrs& attrs);
    static int OnLoadImages(void* context, CXMLSchemaInStream& stream, int id, const char16_t* name,
                            const char16_t* value, CXMLAttrs& attrs);

    CIndirectArray<CXMLTemplateImage> images;
    CIndirectArray<CXMLTemplateParameter> parameters;
    EConfigType configType = eXMLTemplate;
    bool visibleTreeView = false;
    bool visibleImageView = false;
    CString templateName;
    CString caption;
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::int32_t width = 600;
    std::int32_t height = 400;
    std::int32_t position = 0;
    bool scrollbars = false;
    bool resizeable = false;
    bool showIcon = false;
    bool minimizeBox = false;
    bool maximizeBox = false;
    bool autoUpdateControls = true;
    std::int32_t captionSource = 0;
    CString icon;
    CString oldFormName;
    CString folder; // the last component of the loaded file's folder

protected:
    void InitTemplate(unsigned char* block, std::uint32_t style, bool keepStyle) const;

private:
    void CopyFrom(const CFormConfigData& other);
    int ReadXMLTemplate(CXMLSchemaInStream& stream);
    void WriteWindow(CXMLOutStream& stream) const;
    void WriteXMLTemplate(CXMLOutStream& stream, bool embed) const;
};
