#include <adapter/Operations.h>

#include <QtCore/QHash>

namespace Adapter {

namespace {

// Coefficients

constexpr char valuesMeaning[] =
    "row by row, nine 16-bit values for each pixel, low byte first; of multilayer coefficients the bytes of each pixel: 16, "
    "unless the host's grid has another length";

constexpr Field loadedBlocks[] = {{"area.point.x", Type::Int, "left column, pixels in the cabinet"},
                                  {"area.point.y", Type::Int, "top row, pixels in the cabinet"},
                                  {"area.size.width", Type::Int, "pixels"},
                                  {"area.size.height", Type::Int, "pixels"},
                                  {"coefficients", Type::Base64, valuesMeaning}};

constexpr Field point[] = {{"x", Type::Int, "left column, pixels in the cabinet"},
                           {"y", Type::Int, "top row, pixels in the cabinet"}};
constexpr Field size[] = {{"height", Type::Int, "pixels"}, {"width", Type::Int, "pixels"}};
constexpr Field area[] = {{"point", Type::Map, "", point}, {"size", Type::Map, "", size}};
constexpr Field uploadedBlock[] = {{"area", Type::Map, "one block; the list holds no other", area},
                                   {"coefficients", Type::Base64, valuesMeaning}};

constexpr Field blockOfMany[] = {{"area", Type::Map, "", area}, {"coefficient", Type::Base64, valuesMeaning}};
constexpr Field blocksOfMany[] = {{nullptr, Type::Map, "", blockOfMany}};
constexpr Field uploadedCabinet[] = {{"cid", Type::LongLong, "cabinet id"},
                                     {"coefficientList", Type::List, "one block", blocksOfMany}};

// Lists of cabinets

constexpr Field cabinetId[] = {
    {nullptr, Type::CabinetId, "cabinet id: QString from ICabinet and ICabinets, else qlonglong"}};
constexpr Field number[] = {{nullptr, Type::LongLong, "cabinet id"}};
constexpr Field unsignedNumber[] = {{nullptr, Type::ULongLong, "cabinet id"}};
constexpr Field textId[] = {{nullptr, Type::Text, "cabinet id"}};
constexpr Field cabinets[] = {{"cids", Type::List, "the cabinets", cabinetId}};
constexpr Field numberedCabinets[] = {{"cids", Type::List, "the cabinets", number}};
constexpr Field namedCabinets[] = {{"cids", Type::List, "the cabinets", textId}};

// Settings

constexpr char limitMeaning[] = "input level, device's unit";
constexpr char bitsMeaning[] = "number of valid bits";
constexpr Field fourLayers[] = {{"inLayer1", Type::UInt, limitMeaning},      {"inLayer2", Type::UInt, limitMeaning},
                                {"inLayer3", Type::UInt, limitMeaning},      {"inLayer4", Type::UInt, limitMeaning},
                                {"inVldBitLayer01", Type::Int, bitsMeaning}, {"inVldBitLayer12", Type::Int, bitsMeaning},
                                {"inVldBitLayer23", Type::Int, bitsMeaning}, {"inVldBitLayer34", Type::Int, bitsMeaning}};
constexpr Field multilayerParameter[] = {{"cids", Type::List, "the cabinets", number}, {"param", Type::Map, "", fourLayers}};
constexpr Field layer[] = {{"inLayer", Type::UInt, limitMeaning}, {"inVldBitLayer", Type::Int, bitsMeaning}};
constexpr Field layers[] = {{nullptr, Type::Map, "", layer}};
constexpr Field multilayerParameters[] = {{"cids", Type::List, "the cabinets", number},
                                          {"multilayerParams", Type::List, "one map for each layer", layers}};
constexpr Field solid[] = {{"idList", Type::List, "the cabinets", number},
                           {"type", Type::Kind, "0 chroma, 1 multilayer, 2 low gray; toInt() reads it"}};
constexpr Field enable[] = {{"enable", Type::Bool, ""}};
constexpr Field xBit[] = {{"mode", Type::Int, "the device's number"}, {"xbitEnable", Type::Bool, ""}};
constexpr Field mode[] = {{"mode", Type::Int, "the device's number"}};
constexpr Field effectType[] = {{"type", Type::Int, "the device's number"}};
constexpr Field brightnessValue[] = {{"value", Type::Int, "the service's unit; the library does not check it"}};
constexpr Field brightness[] = {{"brightness", Type::Int, "the service's unit; the library does not check it"}};
constexpr Field brightnessRange[] = {
    {"brightness.min", Type::UInt, ""}, {"brightness.max", Type::UInt, ""}, {"brightness.default", Type::UInt, ""}};
constexpr Field flag[] = {{"flag", Type::Text, "any text"}};
constexpr Field cabinetFlag[] = {{"id", Type::ULongLong, "cabinet id"}, {"flag", Type::Text, "any text"}};
constexpr Field moduleFlag[] = {{"id", Type::Text, "module id"}, {"flag", Type::Text, "any text"}};
constexpr Field moduleFlagList[] = {{nullptr, Type::Map, "", moduleFlag}};
constexpr Field moduleFlags[] = {{"id", Type::ULongLong, "cabinet id"},
                                 {"moduleflags", Type::List, "one map for each module", moduleFlagList}};
constexpr Field config[] = {{"config", Type::Base64, "the bytes of the file"}};
constexpr Field sentConfig[] = {{"idList", Type::List, "the cabinet", unsignedNumber},
                                {"config", Type::Base64, "the bytes of the file"}};
constexpr Field flashRequest[] = {{"cids", Type::List, "the cabinet", unsignedNumber},
                                  {"type", Type::Int, "the caller's; 3 triples the allowance"}};

// Gamma

constexpr char curveMeaning[] = "entries of the curve, from dark to bright";
constexpr Field cabinetGamma[] = {{"redGamma", Type::IntList, curveMeaning},
                                  {"greenGamma", Type::IntList, "the same; the library files it as channel 2"},
                                  {"blueGamma", Type::IntList, "the same; the library files it as channel 1"}};
constexpr Field cabinetGammaTable[] = {{"type", Type::Int, "channel: 0 red, 1 blue, 2 green"},
                                       {"gammaTable", Type::IntList, curveMeaning}};
constexpr Field curve[] = {{nullptr, Type::Int, "entry of the curve"}};
constexpr Field screenGamma[] = {{"redGamma", Type::List, curveMeaning, curve},
                                 {"greenGamma", Type::List, curveMeaning, curve},
                                 {"blueGamma", Type::List, curveMeaning, curve}};
constexpr Field gammaTable[] = {{"type", Type::Int, "channel: 0 red, 1 green, 2 blue"},
                                {"gammaTable", Type::IntList, curveMeaning}};

// Flash

constexpr Field flashModule[] = {{"size.w", Type::Int, "pixels"},
                                 {"size.h", Type::Int, "pixels"},
                                 {"point.x", Type::Int, "pixels"},
                                 {"point.y", Type::Int, "pixels"},
                                 {"checkCode", Type::Int, "0: the flash memory is valid"}};
constexpr Field flashModules[] = {{nullptr, Type::Map, "", flashModule}};
constexpr Field flashCards[] = {{"rvcardId", Type::Int, "number of the receiving card"},
                                {"outputId", Type::Int, "number of the output"},
                                {"flashCheckResults", Type::List, "one map for each module", flashModules}};

// Descriptions

constexpr Field features[] = {{"multilayercorrection", Type::Bool, ""},
                              {"multilayerCorrectionLayer", Type::UInt, "number of layers, kept modulo 256"},
                              {"fineGrayscale", Type::Bool, ""},
                              {"xBitPlus", Type::Bool, ""},
                              {"magicGray", Type::Bool, ""}};
constexpr Field baseInfo[] = {{"functionTable", Type::Map, "the features", features}};
constexpr Field listedCabinet[] = {{"id", Type::Text, "cabinet id, a decimal number, unique over all devices"},
                                   {"outputID", Type::Text, "the output that drives the cabinet"}};
constexpr Field part[] = {{"id", Type::Text, ""},     {"flag", Type::Text, ""},       {"x", Type::Int, "pixels"},
                          {"y", Type::Int, "pixels"}, {"width", Type::Int, "pixels"}, {"height", Type::Int, "pixels"}};
constexpr Field modules[] = {{nullptr, Type::Map, "", part}};
constexpr Field card[] = {{"id", Type::Text, ""},
                          {"flag", Type::Text, ""},
                          {"x", Type::Int, "pixels"},
                          {"y", Type::Int, "pixels"},
                          {"width", Type::Int, "pixels"},
                          {"height", Type::Int, "pixels"},
                          {"moduleflags", Type::List, "the card's modules", modules}};
constexpr Field cards[] = {{nullptr, Type::Map, "", card}};
constexpr Field flaggedCabinet[] = {{"id", Type::Text, "cabinet id"},
                                    {"flag", Type::Text, ""},
                                    {"recvcardflags", Type::List, "the cabinet's receiving cards", cards}};

constexpr Field placedCabinet[] = {
    {"cabinetID", Type::Text, "cabinet id; with the output id as getAllCabinetsInfo lists it"},
    {"outputID", Type::Text, ""},
    {"position.x", Type::Int, "pixels from the left of its element of \"subScreens\""},
    {"position.y", Type::Int, "pixels from the top of it"},
    {"size.width", Type::Int, "pixels"},
    {"size.height", Type::Int, "pixels"}};
constexpr Field placedCabinets[] = {{nullptr, Type::Map, "", placedCabinet}};
constexpr Field subScreen[] = {{"position.x", Type::Int, "pixels, added to the position above"},
                               {"position.y", Type::Int, "pixels, added to the position above"},
                               {"cabinets", Type::List, "the cabinets' places", placedCabinets}};
constexpr Field subScreens[] = {{nullptr, Type::Map, "", subScreen}};
constexpr Field screen[] = {{"screenUUID", Type::Text, "the screen's id; devices with the same id make up one screen"},
                            {"screenName", Type::Text, "the first device of a screen names it"},
                            {"expendInfo.isAllowSingleDev", Type::Bool,
                             "true: the screen is called \"screenName\"; false: as getHWInfo's \"customName\""},
                            {"position.x", Type::Int, "pixels; added to the positions below"},
                            {"position.y", Type::Int, "pixels; added to the positions below"},
                            {"subScreens", Type::List, "the parts of the screen that the device drives", subScreens}};
constexpr Field hardware[] = {{"customName", Type::Text, "the device's name"}};
constexpr Field application[] = {{nullptr, Type::Text, "\"Mirelo\" followed by the device key"}};
constexpr Field lockOwner[] = {{"appids", Type::List, "one element", application}};
constexpr Field deviceInfo[] = {{"key", Type::Text, "device key, the first argument of every call"},
                                {"label", Type::Text, "what the discovery's log lines show"}};

// Test images

constexpr Field rectangle[] = {
    {"x", Type::Int, "pixels"}, {"y", Type::Int, "pixels"}, {"width", Type::Int, "pixels"}, {"height", Type::Int, "pixels"}};
constexpr Field color[] = {{"r", Type::Int, "0 to 255"}, {"g", Type::Int, "0 to 255"}, {"b", Type::Int, "0 to 255"}};
constexpr Field colors[] = {{nullptr, Type::Map, "", color}};
constexpr Field pixelImage[] = {
    {"regionrect", Type::Map, "the part that shows the image, from the corner of the rectangle around the device's cabinets",
     rectangle},
    {"singlerect", Type::Map, "the first lit block, from the corner of that part; the blocks have its size", rectangle},
    {"color", Type::Map, "of lit blocks", color},
    {"intervalX", Type::Int, "dark blocks between two lit ones"},
    {"intervalY", Type::Int, "dark blocks between two lit ones"}};
constexpr Field checkerboard[] = {
    {"regionRect", Type::Map, "the part that shows the board, from the corner of the rectangle around the device's cabinets",
     rectangle},
    {"firstSquareW", Type::Int, "pixels: width of the first column"},
    {"firstSquareH", Type::Int, "pixels: height of the first row"},
    {"squareW", Type::Int, "pixels: width of the columns between the first and the last"},
    {"squareH", Type::Int, "pixels: height of the rows between the first and the last"},
    {"lastSquareColumnW", Type::Int, "pixels: width of the last column"},
    {"lastSquareRowH", Type::Int, "pixels: height of the last row"},
    {"regionColor", Type::List, "the square in column c, row r, counted from 0, has the colour (c + r) modulo their number",
     colors}};

/// The request forms of the rows: Map is const in the C++ signature, MutableMap is not.
namespace Requests {
constexpr Form None = Form::None;
constexpr Form Map = Form::Map;
constexpr Form MutableMap = Form::Map;
constexpr Form List = Form::List;
} // namespace Requests

} // namespace

const QVector<Operation> &operations()
{
#define ROW(id, text, address, request, reply, extra, effect, requestFields, replyFields, summary, callers, afterFailure)   \
    {id,           QStringLiteral(text), Address::address, Requests::request, Form::reply,                                  \
     Extra::extra, Effect::effect,       requestFields,    replyFields,       summary,                                      \
     callers,      afterFailure},
#define OPERATION(service, name, ...) ROW(Operation::service##_##name, #service "::" #name, __VA_ARGS__)
#define OPERATION_WITH_HEADERS(service, name, ...)                                                                          \
    ROW(Operation::service##_##name##_Headers, #service "::" #name "(responseHeader)", __VA_ARGS__)
    static const QVector<Operation> rows{
#include <adapter/Operations.def>
    };
#undef OPERATION
#undef OPERATION_WITH_HEADERS
#undef ROW
    return rows;
}

const Operation *findOperation(const QString &name)
{
    static const QHash<QString, const Operation *> byName = [] {
        QHash<QString, const Operation *> rows;
        for (const Operation &operation : operations())
            rows.insert(operation.name, &operation);
        return rows;
    }();
    return byName.value(name);
}

} // namespace Adapter
