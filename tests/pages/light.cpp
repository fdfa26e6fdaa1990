#include <simulator/VirtualWall.h>

using namespace Simulator;

namespace Pages {

void photograph()
{
    VirtualWall &wall = VirtualWall::instance();
    wall.load(QStringLiteral("uneven"));
    // ... a test image, such as Correction::IScreen::setPixelImage()
    const Photo exact = wall.pictures().photograph(QStringLiteral("uneven")); // an ideal colorimeter: X, Y, Z of every pixel
    exact.image(500).save(QStringLiteral("photo.png"));                       // sRGB; 500 cd/m2 are white
    exact.writeNpy(QStringLiteral("photo.npy"));                              // numpy.load(): height x width x 3, float32

    Camera camera;
    camera.photosites = 5;
    camera.blur = 0.45;
    camera.shotNoise = 0.01;
    camera.view = Camera::tilted(exact.size, 0.02);
    const Photo photo = wall.pictures().photograph(QStringLiteral("uneven"), camera);
}

} // namespace Pages
