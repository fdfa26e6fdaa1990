#include <adapter/DeviceBackend.h>

namespace Pages {

class MyBackend : public Adapter::DeviceBackend
{
public:
    QList<Adapter::DeviceInfo> devices() override { return {}; }
    Adapter::Answer answer(const Adapter::Call &) override { return {}; }
};

void install()
{
    MyBackend backend; // a DeviceBackend
    Adapter::setBackend(&backend);
}

} // namespace Pages
