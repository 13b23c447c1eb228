# A plain model of a raw develop's colours in doubles, for scripts/check_raw: DNG 1.4.0.0, "Mapping Camera Color Space to
# CIE XYZ Space", for files with two colour matrices and a neutral.
package raw_colours;
use strict;
use warnings;

my @D50 = (0.964296, 1, 0.825105);
my @BRADFORD = ([0.8951, 0.2664, -0.1614], [-0.7502, 1.7135, 0.0367], [0.0389, -0.0685, 1.0296]);
our @PROPHOTO = ([0.7977, 0.1352, 0.0313], [0.288, 0.7119, 0.0001], [0.0, 0.0, 0.8249]);
our @SRGB = ([0.4361, 0.3851, 0.1431], [0.2225, 0.7169, 0.0606], [0.0139, 0.0971, 0.7141]);

sub apply { my ($m, $v) = @_; return map { my $r = $_; $r->[0] * $v->[0] + $r->[1] * $v->[1] + $r->[2] * $v->[2] } @$m }
sub product {
    my ($a, $b) = @_;
    return [map { my $r = $_; [map { my $c = $_; $r->[0] * $b->[0][$c] + $r->[1] * $b->[1][$c] + $r->[2] * $b->[2][$c] } 0 .. 2] } @$a];
}
sub inverse {
    my ($m) = @_;
    my @c = map { my $i = $_; [map { my $j = $_;
        my ($a, $b, $c, $d) = (($i + 1) % 3, ($i + 2) % 3, ($j + 1) % 3, ($j + 2) % 3);
        $m->[$c][$a] * $m->[$d][$b] - $m->[$c][$b] * $m->[$d][$a] } 0 .. 2] } 0 .. 2;
    my $det = $m->[0][0] * $c[0][0] + $m->[0][1] * $c[1][0] + $m->[0][2] * $c[2][0];
    return [map { [map { $_ / $det } @$_] } @c];
}
sub blend { my ($a, $b, $w) = @_; return [map { my $i = $_; [map { $w * $a->[$i][$_] + (1 - $w) * $b->[$i][$_] } 0 .. 2] } 0 .. 2] }
sub to_xyz { my ($x, $y) = @_; return ($x / $y, 1, (1 - $x - $y) / $y) }

# McCamy's formula, a few kelvin beside the tables of isotherms.
sub kelvin {
    my ($x, $y) = @_;
    my $n = ($x - 0.3320) / (0.1858 - $y);
    return 449 * $n**3 + 3525 * $n**2 + 6823.3 * $n + 5520.33;
}

# The white and the matrix from camera colours to the PCS, for matrices of 2850 K and 6500 K.
sub camera {
    my ($cm1, $cm2, $neutral) = @_;
    my ($x, $y, $to_camera) = (0.3457, 0.3585);
    for (1 .. 30) {
        my $w = (1 / kelvin($x, $y) - 1 / 6500) / (1 / 2850 - 1 / 6500);
        $w = $w < 0 ? 0 : $w > 1 ? 1 : $w;
        $to_camera = blend($cm1, $cm2, $w);
        my @xyz = apply(inverse($to_camera), $neutral);
        my $sum = $xyz[0] + $xyz[1] + $xyz[2];
        ($x, $y) = ($xyz[0] / $sum, $xyz[1] / $sum);
    }
    my @white = apply($to_camera, [to_xyz($x, $y)]);
    my ($most) = sort { $b <=> $a } @white;
    @white = map { $_ / $most } @white;
    my @from = apply(\@BRADFORD, \@D50);
    my @to = apply(\@BRADFORD, [to_xyz($x, $y)]);
    my $adapt = product(inverse(\@BRADFORD), [map { my $i = $_; [map { $to[$i] / $from[$i] * $BRADFORD[$i][$_] } 0 .. 2] } 0 .. 2]);
    my $pcs_to_camera = product($to_camera, $adapt);
    my @scaled = apply($pcs_to_camera, \@D50);
    my ($scale) = sort { $b <=> $a } @scaled;
    return (\@white, inverse([map { [map { $_ / $scale } @$_] } @$pcs_to_camera]));
}

sub gamma { my ($v) = @_; return $v <= 0 ? 0 : $v >= 1 ? 1 : $v <= 0.0031308 ? 12.92 * $v : 1.055 * $v**(1 / 2.4) - 0.055 }
sub linear { my ($v) = @_; return $v <= 0.040449936 ? $v / 12.92 : (($v + 0.055) / 1.055)**2.4 }

1;
