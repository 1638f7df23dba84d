// Writes what the fuzzers of readers begin with: FOLDER/FORM/..., files as the tests write them.
#include <filesystem>
#include <fstream>
#include <iostream>

#include "Formats/Formats.h"
#include "Formats/Writers.h"
#include "Recording/Format.h"
#include "Recording/private/Text.h"

using namespace TZM;

int main(int argc, char** argv) {
    if (argc != 2) return std::cerr << "format_corpus FOLDER\n", 2;
    RegisterInstrumentFormats();
    const std::filesystem::path folder = argv[1];
    const auto write = [&](const std::string& form, const std::string& name, const std::string& bytes) {
        std::filesystem::create_directories(folder / form);
        std::ofstream(folder / form / name, std::ios::binary) << bytes;
    };
    const std::string
        gga = "$GPGGA,120000,4730.0000,N,01130.0000,E,1,9,1.0,432.1,M,,,,*00\n",
        cor = "1\t2020-01-01\t10:00:00\t47.5\tN\t11.5\tE\t500.0\tM\t4\n3,2020-01-01,1,47.6,S,11.6,W,501,M,4\n";
    for (const int bits : {8, 16, 32})
        for (const int channels : {1, 3})
            write("dzt", std::to_string(bits) + "-" + std::to_string(channels),
                  Dzt(8, 4, channels, bits) + "\n%%\n$GSSIS,1,1\n" + gga + "$GSSIS,3,1\n" + gga +
                      "\n%%\n<unitsPerScan>0.02</unitsPerScan><dielectric>8</dielectric><WayPt><scan>1</scan><mark>User"
                      "</mark></WayPt><WayPt><scan>3</scan><mark>User</mark></WayPt>");
    for (const int bytes : {2, 4})
        write("dt1", std::to_string(bytes), Dt1(20, 3, bytes, 2) + "\n%%\n" + kHd + "\n%%\nTrace #2\n" + gga);
    for (const int bits : {16, 32}) {
        write("rad", std::to_string(bits),
              Words(16, 3, bits) + "\n%%\nSAMPLES:16\nFREQUENCY:2000\nDISTANCE INTERVAL:0.05\nTIMEWINDOW:8\n\n%%\n" +
                  cor);
        write("iprh", std::to_string(bits),
              Words(16, 3, bits) + "\n%%\nSAMPLES: 16\nTIMEWINDOW: 8\nDATA VERSION: " + std::to_string(bits) +
                  "\nUSER DISTANCE INTERVAL: 0.04\nZERO LEVEL: 2\nSOIL VELOCITY: 100\nFREQUENCY: 450\n\n%%\n" + cor);
    }
    for (const std::string type : {"float", "", "int"}) write("ogpr", type + "-", Ogpr(8, 3, 2, type, type.empty()));
    for (const int format : {1, 2, 3, 5, 8}) write("segy", std::to_string(format), Segy(8, 2, format, format != 3));
#if TZM_WITH_HDF5
    for (const int rank : {1, 2}) {
        const auto model = folder / "model.h5";
        WriteModel(model, rank, 1, 2e-12);
        write("hdf5", "model-" + std::to_string(rank), ReadText(model));
        std::filesystem::remove(model);
    }
#endif
    Recording block;
    block.size = {6, 3, 2};
    block.data = AllocateSamples(36);
    for (int i = 0; i < 36; ++i) block.data[i] = float(i);
    block.channels = {"a", "b"};
    block.validRanges = {{0, 3}, {1, 2}};
    block.positions = {{0, 0, 11.5, 47.5, 400}, {0, 2, 11.6, 47.5, 400}};
    block.coordinates = "EPSG:4326";
    for (const auto& [form, name] : {std::pair("segy", "own.sgy"), std::pair("hdf5", "own.h5")}) try {
            WriteRecording(block, folder / form / name);
        } catch (const Refusal&) { // a form that this build can't write
        }
}
