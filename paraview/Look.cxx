// How the amplitudes of images look in ParaView unless somebody has chosen otherwise: the strongest echoes are bright,
// and as a volume the weak ones can be looked through. ParaView keeps one table of colours and one of opacities for all
// arrays of a name; they are made with the first reader or filter of the plugin, and fit themselves to the values of
// what is shown first.
#include <cstddef>

#include <vtkClientServerInterpreter.h>
#include <vtkClientServerInterpreterInitializer.h>
#include <vtkNew.h>
#include <vtkObjectFactory.h>
#include <vtkSMPropertyHelper.h>
#include <vtkSMProxy.h>
#include <vtkSMProxyInitializationHelper.h>
#include <vtkSMProxyManager.h>
#include <vtkSMSessionProxyManager.h>
#include <vtkSMSettings.h>
#include <vtkSMTransferFunctionManager.h>

namespace {

constexpr const char* kArray = "amplitude";

// Lightness rises evenly: value, red, green, blue.
constexpr double kColours[] = {0,      0.01, 0.01,   0.05, 1. / 6, 0.22, 0.06,   0.37, 2. / 6, 0.51,
                               0.15,   0.43, 3. / 6, 0.79, 0.27,   0.33, 4. / 6, 0.96, 0.49,   0.17,
                               5. / 6, 0.98, 0.75,   0.20, 1,      0.99, 0.99,   0.80};
// Value, opacity, and two that make the lines between them straight.
constexpr double kOpacities[] = {0, 0, 0.5, 0, 0.06, 0, 0.5, 0, 0.25, 0.3, 0.5, 0, 1, 0.95, 0.5, 0};

template <std::size_t N>
void Set(vtkSMProxy* table, const char* property, const double (&values)[N]) {
    vtkSMPropertyHelper(table, property).Set(values, N);
    table->UpdateVTKObjects();
}

} // namespace

/// Named in the panels of the readers and filters; ParaView runs it on each new one.
class vtkSMTZMLookInitializationHelper : public vtkSMProxyInitializationHelper {
public:
    static vtkSMTZMLookInitializationHelper* New();
    vtkTypeMacro(vtkSMTZMLookInitializationHelper, vtkSMProxyInitializationHelper)

    void PostInitializeProxy(vtkSMProxy* proxy, vtkPVXMLElement*, vtkMTimeType) override {
        vtkSMSessionProxyManager* const proxies = proxy->GetSessionProxyManager();
        const vtkNew<vtkSMTransferFunctionManager> tables;
        const bool chosen = vtkSMSettings::GetInstance()->HasSetting(".array_lookup_tables.amplitude.PVLookupTable"),
                   hasColours = proxies->GetProxy("lookup_tables", "amplitude.PVLookupTable"),
                   hasOpacities = proxies->GetProxy("piecewise_functions", "amplitude.PiecewiseFunction");
        if (!chosen && !hasColours) {
            vtkSMProxy* const colours = tables->GetColorTransferFunction(kArray, proxies);
            vtkSMPropertyHelper(colours, "ColorSpace").Set("RGB");
            // Counts of a recording, hidden by then, would stretch the table of an image from 0 to 1.
            vtkSMPropertyHelper(colours, "AutomaticRescaleRangeMode").Set(vtkSMTransferFunctionManager::RESET_ON_APPLY);
            Set(colours, "RGBPoints", kColours);
        }
        if (!hasOpacities) Set(tables->GetOpacityTransferFunction(kArray, proxies), "Points", kOpacities);
    }
};

vtkStandardNewMacro(vtkSMTZMLookInitializationHelper)

    namespace {

    const bool registered = [] {
        vtkClientServerInterpreterInitializer::GetGlobalInterpreter()->AddNewInstanceFunction(
            "vtkSMTZMLookInitializationHelper",
            [](void*) -> vtkObjectBase* { return vtkSMTZMLookInitializationHelper::New(); }, nullptr);
        return true;
    }();

} // namespace
