! A Fortran caller: creates a file, writes its header and sections, closes and reopens it through
! the underscore forms (every argument by reference, character arguments NUL-terminated).
program fortran_roundtrip
  use iso_c_binding
  implicit none
  interface
    integer(c_int) function imopen(stream, name, attr) bind(C, name='IMOpen_')
      import :: c_int, c_char
      integer(c_int) :: stream
      character(kind=c_char) :: name(*), attr(*)
    end function
    integer(c_int) function imclose(stream) bind(C, name='IMClose_')
      import :: c_int
      integer(c_int) :: stream
    end function
    integer(c_int) function imcrhdr3(stream, nx, ny, nz, nw, nt, np, seq, mode) bind(C, name='IMCrHdr3_')
      import :: c_int
      integer(c_int) :: stream, nx, ny, nz, nw, nt, np, seq, mode
    end function
    integer(c_int) function imwrhdr(stream, title, tmode, dmin, dmax, dmean) bind(C, name='IMWrHdr_')
      import :: c_int, c_char, c_float
      integer(c_int) :: stream, tmode
      character(kind=c_char) :: title(*)
      real(c_float) :: dmin, dmax, dmean
    end function
    integer(c_int) function imwrsec(stream, buffer) bind(C, name='IMWrSec_')
      import :: c_int, c_float
      integer(c_int) :: stream
      real(c_float) :: buffer(20, 10)
    end function
    integer(c_int) function imrdsec(stream, buffer) bind(C, name='IMRdSec_')
      import :: c_int, c_float
      integer(c_int) :: stream
      real(c_float) :: buffer(20, 10)
    end function
  end interface
  integer(c_int) :: i, j
  real(c_float) :: pixels(20, 10)
  integer(c_int), parameter :: s = 5
  character(len=256) :: path

  call get_command_argument(1, path)
  if (imopen(s, trim(path)//c_null_char, 'new'//c_null_char) /= 0) stop 1
  if (imcrhdr3(s, 20_c_int, 10_c_int, 1_c_int, 1_c_int, 1_c_int, 1_c_int, 2_c_int, 2_c_int) /= 0) stop 2
  if (imwrhdr(s, 'written from Fortran'//c_null_char, 0_c_int, 1.0_c_float, 9.0_c_float, 4.5_c_float) /= 0) stop 3
  do j = 1, 10
    do i = 1, 20
      pixels(i, j) = real(100 + 10 * j + i, c_float)
    end do
  end do
  if (imwrsec(s, pixels) /= 0) stop 4
  if (imclose(s) /= 0) stop 5
  if (imopen(s, trim(path)//c_null_char, 'ro'//c_null_char) /= 0) stop 6
  pixels = 0
  if (imrdsec(s, pixels) /= 0) stop 8
  if (pixels(20, 10) /= 220.0 .or. pixels(1, 2) /= 121.0) stop 9
  if (imclose(s) /= 0) stop 10
  if (imclose(s) /= 104) stop 11
  print '(a)', 'Fortran caller ok'
end program
