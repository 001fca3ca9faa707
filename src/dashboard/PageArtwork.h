#pragma once

class QPainter;

/// The dashboard's page pictures, drawn as vectors on the 240 x 247 design page (240 x 167 for
/// the landscape page, 240 x 246 for the digital panel), so they stay sharp at any size: the
/// page with six dial faces, the page with one face filling it, and the digital dashboard's
/// panel. `picture` is a GaugePicture.
void PaintPagePicture(QPainter &painter, int picture);
