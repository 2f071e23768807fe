#include <iostream>
#include <set>
#include <string>

#include "zumra/core/IniFile.h"
#include "zumra/settings/IChangeCallback.h"
#include "zumra/settings/ZumraSettingsClient.h"

using zumra::core::IniFile;
using zumra::settings::ZumraSettingsClient;

namespace {

class Printer : public zumra::settings::IChangeCallback {
public:
    void SettingsChanged(const std::set<std::string>& changedGroups, const IniFile& settings) override {
        text += "changed: " + *changedGroups.begin() + "\n" + settings.SaveToString();
    }
    std::string text;
};

}  // namespace

int main() {
    IniFile defaults;
    defaults["Screen"]["brightness"] = "80";
    ZumraSettingsClient client(ZumraSettingsClient::kLocal, defaults);
    Printer printer;
    client.Subscribe(&printer, "Screen");
    client.SetValue("[Screen]contrast", "50");
    client.UnSubscribe(&printer);
    std::cout << printer.text;
    return printer.text == "changed: Screen\n[Screen]\nbrightness = 80\ncontrast = 50\n\n" ? 0 : 1;
}
