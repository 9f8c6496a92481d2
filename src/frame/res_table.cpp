// The table of every described resource key: resource name, option, own
// environment variable, conversion and help text. It is the program's
// command-line interface; keys missing here have no description.
#include <span>

#include "zor/res.h"

namespace zor::res {

namespace {

// Extra help lines of the keys whose help does not fit on one line.
constexpr const char* kMessageLines[] = {
    "               none,print,error,warn,mess,out1,*out2,out3,out4,debug", nullptr};
constexpr const char* kObjectLines[] = {"             Objective analysis parameters", nullptr};
#define ZOR_DOMAIN_LINES                                                                       \
  "               region=predefined region:", "                  us,ne,at,se,mw,sp,nw,sw,etc", \
      "               proj=projection, clat=central latitude, clon=central longitude,",        \
      "               nx,ny=number of gridpoints and dx,dy=grid spacing"
constexpr const char* kPlotDomainLines[] = {"             Output plot domain", ZOR_DOMAIN_LINES,
                                            nullptr};
constexpr const char* kGridDomainLines[] = {"             Grid domain", ZOR_DOMAIN_LINES, nullptr};
constexpr const char* kRegionLines[] = {"             Region to be used for plotting and gridding",
                                        ZOR_DOMAIN_LINES,
                                        "               us,ne,at,se,mw,sp,nw,sw,var", nullptr};
#undef ZOR_DOMAIN_LINES

// Columns: key, resource, option (no "-"), positional (1 first, 10 all),
// environment, conversion, help synopsis, help text (null: the synopsis
// stands on a line of its own), extra help lines.
// One row per key, so the table reads like the option list.
// clang-format off
constexpr KeyDesc kKeys[] = {
    {RES_background, "background", "bg", 0, "zorback", CV_string, "-bg clr", "Background color", nullptr},
    {RES_batch, "batch", "ba", 0, "zorbatch", CV_batch, "-ba", "Run program in batch mode", nullptr},
    {RES_bull_file, "bull_file", "bf", 0, "zorbullfile", CV_string, "-bf file", "Bulletin file name", nullptr},
    {RES_city_file, "city_file", "cf", 0, "zorcity", CV_string, "-cf file", "City database file name", nullptr},
    {RES_color_clabel, "color_clabel", "cocl", 0, "zorclrclab", CV_string, "-cocl clr", "Fill label color", nullptr},
    {RES_color_cloud, "color_cloud", "cocd", 0, "zorclrcld", CV_string, "-cocd clr", "Cloud cover symbol colors", nullptr},
    {RES_color_cmap, "color_cmap", "cocm", 0, "zorclrcmap", CV_string, "-cocm clr", "Fill map color", nullptr},
    {RES_color_cont, "color_cont", "coco", 0, "zorclrcont", CV_string, "-coco clr", "Line contour color", nullptr},
    {RES_color_data, "color_data", "cod", 0, "zorclrdata", CV_string, "-cod clr", "Data plotting color", nullptr},
    {RES_color_fill, "color_fill", "cof", 0, "zorclrfill", CV_string, "-cof clr[,...]", "Fill contour colors", nullptr},
    {RES_color_front, "color_front", "cofr", 0, "zorclrfront", CV_string, "-cofr hclr,lclr,cclr,wclr,oclr,tclr", "Front colors", nullptr},
    {RES_color_grid, "color_grid", "cogr", 0, "zorclrgrid", CV_string, "-cogr clr", "grid color", nullptr},
    {RES_color_hodo, "color_hodo", "coh", 0, "zorclrhodo", CV_string, "-coh dclr,sclr,hclr", "Hodograph colors", nullptr},
    {RES_color_hodtxt, "color_hodtxt", "coht", 0, "zorclrhdtxt", CV_string, "-coht dclr,sclr,hclr", "Hodograph text colors", nullptr},
    {RES_color_label, "color_label", "cola", 0, "zorclrlab", CV_string, "-cola clr", "Line label color", nullptr},
    {RES_color_line, "color_line", "coln", 0, "zorclrln", CV_string, "-coln clr", "Lat-lon line color", nullptr},
    {RES_color_map, "color_map", "com", 0, "zorclrmap", CV_string, "-com clr", "line map color", nullptr},
    {RES_color_pop, "color_pop", "copp", 0, "zorclrpop", CV_string, "-copp clr", "Probablilty of precipitation color", nullptr},
    {RES_color_sound, "color_sound", "cosd", 0, "zorclrsnd", CV_string, "-cosd tclr,tdclr", "Sounding colors", nullptr},
    {RES_color_table, "color_table", "ct", 0, "zorclrtbl", CV_string, "-ct file", "Color table file name", nullptr},
    {RES_color_text, "color_text", "cot", 0, "zorclrtext", CV_string, "-cot clr", "Text color", nullptr},
    {RES_color_therm, "color_therm", "coth", 0, "zorclrtherm", CV_string, "-coth pclr,tclr,daclr,maclr,mrclr", "Thermodynamic diagram colors", nullptr},
    {RES_color_thrmtxt, "color_thrmtxt", "cott", 0, "zorclrthtxt", CV_string, "-cott pclr,tclr,daclr,maclr,mrclr", "Thermodynamic diagram text colors", nullptr},
    {RES_color_wind, "color_wind", "cowd", 0, "zorclrwind", CV_string, "-cowd clr", "Wind barb colors", nullptr},
    {RES_color_wx, "color_wx", "cowx", 0, "zorclrwx", CV_string, "-cowx clr", "Weather symbol colors", nullptr},
    {RES_command, "command", nullptr, 10, "zorcommand", CV_strings, "command", "Commands to be run", nullptr},
    {RES_commands, "command", "cd", 0, "zorcommand", CV_string, "-cd cmd[;cmd]", "Commands to be run", nullptr},
    {RES_con_base, "con_base", "cb", 0, "zorconbase", CV_float, "-cb base", "Color fill contour/vector base value", nullptr},
    {RES_con_interval, "con_interval", "in", 0, "zorconint", CV_float, "-in intrvl", "Contour interval", nullptr},
    {RES_con_path, "con_path", "cp", 0, "zorcon", CV_path, "-cp path", "Converted data path", nullptr},
    {RES_current, "current", "cu", 0, "zorcurrent", CV_current, "-cu [hour]", "Use current data file", nullptr},
    {RES_data_path, "data_path", "dp", 0, "zordata", CV_path, "-dp path", "Raw data path", nullptr},
    {RES_draw, "draw", "dr", 0, "zordraw", CV_draw, "-dr param[,...]", "Draw components: text,data,sum,map,none", nullptr},
    {RES_decode_hour, "decode_hour", "dh", 0, "zordecode", CV_string, "-dh hour", "Actual hour to decode", nullptr},
    {RES_device, "device", "de", 0, "zordevice", CV_device, "-de dev[,name]", "Output device: d,p,q,w,m", nullptr},
    {RES_file_param, "file_param", "pf", 0, "zorfileparam", CV_file_param, "-pf param", "File parameters: use,calc,over,app", nullptr},
    {RES_file_path, "file_path", "fp", 0, "zorfile", CV_path, "-fp path", "File path", nullptr},
    {RES_filename, "filename", nullptr, 1, "zorfilename", CV_strcpy, "file", "Input file name", nullptr},
    {RES_filenames, "filename", nullptr, 10, "zorfilename", CV_strings, "file [file...]", "Input file names", nullptr},
    {RES_font_list, "font_list", "fl", 0, "zorfontlist", CV_string, "-fl list", "List of fonts to use", nullptr},
    {RES_forecast, "forecast", "fc", 0, "zorforecast", CV_string, "-fc type", "Specific forecast product", nullptr},
    {RES_geometry, "geometry", "ge", 0, "zorgeometry", CV_string, "-ge wxh+x+y", "Window geometry", nullptr},
    {RES_grid_num, "grid_num", "gn", 0, "zorgridnum", CV_string, "-gn number", "Specific grid index in file to use", nullptr},
    {RES_grid_path, "grid_path", "gp", 0, "zorgrid", CV_path, "-gp path", "Gridded data path", nullptr},
    {RES_grid_type, "grid_type", "gt", 0, "zorgridtype", CV_int, "-gt number", "Specific grid type (number) to use", nullptr},
    {RES_help, "help", "h", 0, "zorhelp", CV_help, "-h", "Print this help", nullptr},
    {RES_hour, "hour", "ho", 0, "zorhour", CV_hour, "-ho hour", "Actual hour of the file", nullptr},
    {RES_icon, "icon", "ic", 0, "zoricon", CV_bool, "-ic", "Open window iconified", nullptr},
    {RES_identifier, "identifier", "id", 0, "zorident", CV_string, "-id ident", "Specific station identifier", nullptr},
    {RES_image_path, "image_path", "ip", 0, "zorimage", CV_string, "-ip path", "Image file path", nullptr},
    {RES_in_file, "in_file", "if", 0, "zorinfile", CV_string, "-if type", "Input data file type", nullptr},
    {RES_in_files, "in_file", "if", 0, "zorinfile", CV_string, "-if type[,...]", "Input data file type", nullptr},
    {RES_ingestor, "ingestor", "di", 0, "zoringestor", CV_ingestor, "-di name", "Ingestor type: zor,whole,split,ldm,none", nullptr},
    {RES_input, "input", "in", 0, "zorin", CV_string, "-in type", "Type of input", nullptr},
    {RES_label, "label", "la", 0, "zorlabel", CV_string, "-la label", "Plot labels", nullptr},
    {RES_level, "level", "le", 0, "zorlevel", CV_string, "-le level", "Vertical level to be plotted or contoured", nullptr},
    {RES_map_file, "map_file", "mf", 0, "zormap", CV_string, "-mf file[,file]", "Map database files", nullptr},
    {RES_message, "message", "me", 0, "zormess", CV_mess, "-me level", "Message level to be displayed:", kMessageLines},
    {RES_model, "model", "mo", 0, "zormodel", CV_string, "-mo model", "Specific model to use", nullptr},
    {RES_name_conv, "name_conv", "nc", 0, "zornameconv", CV_name, "-nc type", "Naming convention file name", nullptr},
    {RES_num_hour, "num_hour", "nh", 0, "zornumhour", CV_string, "-nh hour[,step]", "Number of hours to view", nullptr},
    {RES_object_param, "object_param", "oa", 0, "zorobject", CV_string, "-oa smooth[,radinf,pass,conv,min]", nullptr, kObjectLines},
    {RES_out_file, "out_file", "of", 0, "zoroutfile", CV_string, "-of type", "Output file type", nullptr},
    {RES_output, "output", "ou", 0, "zorout", CV_string, "-ou type", "Type of output", nullptr},
    {RES_parameter, "parameter", "pa", 0, "zorparam", CV_string, "-pa param[,...]", "Program parameters", nullptr},
    {RES_plot_domain, "plot_domain", "pd", 0, "zordomain", CV_domain, "-pd region or [proj],clat,clon[,nx,ny][,dx,dy]", nullptr, kPlotDomainLines},
    {RES_plot_format, "plot_format", "fm", 0, "zorformat", CV_string, "-fm format", "Numeric format", nullptr},
    {RES_plot_param, "plot_param", "pp", 0, "zorpltparam", CV_string, "-pp param", "Plot parameters", nullptr},
    {RES_plot_scale, "plot_scale", "sc", 0, "zorscale", CV_float, "-sc scale", "Text and wind vector scale factor", nullptr},
    {RES_plot_type, "plot_type", "pl", 0, "zorplot", CV_plot_type, "-pl type", "Plot type: cf,lcf,ln,dln,ndln,value,none", nullptr},
    {RES_product, "product", "ph", 0, "zorproduct", CV_string, "-ph header", "Specific product header", nullptr},
    {RES_raw_path, "raw_path", "rp", 0, "zorraw", CV_path, "-rp path", "Raw files path", nullptr},
    {RES_region, "region", "re", 0, "zorregion", CV_region, "-re region or [proj],clat,clon[,nx,ny][,dx,dy]", nullptr, kRegionLines},
    {RES_stat_prior, "stat_prior", "pr", 0, "zorprior", CV_int, "-pr prior", "Priority of stations used in the plot", nullptr},
    {RES_state, "state", "st", 0, "zorstate", CV_string, "-st state", "Specific state to parse", nullptr},
    {RES_table, "table", "ta", 0, "zortable", CV_bool, "-ta", "Prints a table", nullptr},
    {RES_time, "time", "ft", 0, "zortime", CV_string, "-ft time", "Forecast time to be plotted or contoured", nullptr},
    {RES_title, "title", "ti", 0, "zortitle", CV_string, "-ti title", "Window title", nullptr},
    {RES_values, "value", nullptr, 10, "zorvalue", CV_strings, nullptr, nullptr, nullptr},
    {RES_variable, "variable", "va", 0, "zorvar", CV_string, "-va var", "Variable to be plotted or contoured", nullptr},
    {RES_watch_path, "watch_path", "wp", 0, "zorwatch", CV_path, "-wp path", "Watch file data path", nullptr},
    {RES_window_num, "window_num", "wn", 0, "zorwindownum", CV_int, "-wn number", "ZORLoop window number", nullptr},
    {RES_color_watch, "color_watch", "cowa", 0, "zorclrwatch", CV_string, "-cowa sclr,tclr", "Watch box colors", nullptr},
    {RES_log_file, "log_file", "lf", 0, "zorlog", CV_string, "-lf file", "Log file name", nullptr},
    {RES_grid_domain, "grid_domain", "gd", 0, "zorgrddomain", CV_domain, "-gd region or [proj],clat,clon[,nx,ny][,dx,dy]", nullptr, kGridDomainLines},
    {RES_inputg, "input", "inp", 0, "zorin", CV_string, "-inp type", "Type of input", nullptr},
    {RES_text_path, "text_path", "tp", 0, "zortext", CV_path, "-tp path", "Text file path", nullptr},
    {RES_model_path, "model_path", "mp", 0, "zormpath", CV_path, "-mp path", "Model file path", nullptr},
    {RES_sat_path, "sat_path", "sp", 0, "zorsat", CV_path, "-sp path", "Satellite file path", nullptr},
};
// clang-format on

}  // namespace

std::span<const KeyDesc> key_table() { return kKeys; }

const KeyDesc* find_key(res_type key) {
  for (const auto& k : kKeys)
    if (k.key == key) return &k;
  return nullptr;
}

}  // namespace zor::res
