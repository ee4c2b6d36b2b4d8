#include <fstream>
#include <httplib.h>
#include <iostream>
#include <iterator>

int main(int, char **arguments)
{
    const std::string url = arguments[1];
    std::ifstream file(arguments[3], std::ios::binary);
    const std::string content((std::istreambuf_iterator<char>(file)), {});
    const std::size_t path = url.find('/', std::string("http://").size());
    httplib::Client client(url.substr(0, path));
    client.Post(url.substr(path),
                httplib::MultipartFormDataItems{{"metadata", arguments[2], "", ""},
                                                {"file", content, "file.bin", ""}});
    std::cout << CPPHTTPLIB_VERSION << '\n';
}
