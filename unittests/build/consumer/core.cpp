#include <iostream>
#include <string>

#include "zumra/core/IniFile.h"
#include "zumra/osa/Exception.h"

int main() {
    zumra::core::IniFile settings;
    settings.LoadFromString("[Screen]\nbrightness = 80\n");
    settings["Screen"]["contrast"] = "50";
    const std::string text = settings.SaveToString();
    if (text != "[Screen]\nbrightness = 80\ncontrast = 50\n\n") {
        std::cerr << "unexpected text:\n" << text;
        return 1;
    }
    try {
        settings.LoadFromString("neither group nor value");
    } catch (const zumra::osa::Exception& e) {
        std::cout << text << e.what() << '\n';
        return 0;
    }
    std::cerr << "a document with an error was read\n";
    return 1;
}
