#pragma once

#include <optional>
#include <string>

#include "operations/operations.hpp"
#include "io/raster_reader.hpp"
#include "io/raster_writer.hpp"
#include "mesh/mesh_file.hpp"
#include "streaming/streamed_run.hpp"

// The subcommands from file to file: read, run the operation, write. The
// output is checked before any work is done, so a refused output costs nothing.
namespace rastrum_host {

struct InputArgs {
    std::string path;
    ReadOptions read;
};

struct OutputArgs {
    std::string path;
    OutputOptions options;
    std::string preview; // a PNG picture of the result (--preview); empty: none
    unsigned memoryMegabytes = 256; // --memory
    StreamSettings stream;          // from memoryMegabytes
    std::string type;               // the result's GDAL type (-ot); empty: the subcommand's own
};

std::string commandInfo(InputArgs const& input, Tiling const& tiling);
void commandMask(InputArgs const& input, OutputArgs const& output, Tiling const& tiling, RunContext const& context);
void commandSmooth(InputArgs const& input, OutputArgs const& output, SmoothOptions const& options,
                   Tiling const& tiling, RunContext const& context);
// Returns the host's note on the gradient a plane at slopeDegrees gives on the input's cells.
std::string commandSobel(InputArgs const& input, OutputArgs const& output, double slopeDegrees, Tiling const& tiling,
                         RunContext const& context, bool keepPartial = false);
void commandSlope(InputArgs const& input, OutputArgs const& output, SlopeOptions const& options,
                  Tiling const& tiling, RunContext const& context);
void commandCalc(std::string const& operation, InputArgs const& first, InputArgs const& second,
                 OutputArgs const& output, Tiling const& tiling, RunContext const& context);
void commandOverwrite(InputArgs const& input, OutputArgs const& output, OverwriteOptions const& options,
                      Tiling const& tiling, RunContext const& context);
void commandIso(std::string const& input, OutputArgs const& output, Tiling const& tiling, RunContext const& context);
struct MeshOptions {
    std::optional<double> maxError; // a simplified surface within this height of every data cell
    std::optional<UpAxis> up;       // the format's own convention when not given
};
// The triangle surface to PLY, OBJ or glTF, written as it is made; the preview
// is a shaded relief of the heights. Returns a note for the user, or nothing.
std::string commandMesh(InputArgs const& input, OutputArgs const& output, MeshOptions const& options, Tiling const& tiling,
                 RunContext const& context);

} // namespace rastrum_host
